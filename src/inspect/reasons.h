// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"
#include "report/translation.h"

#include <optional>
#include <string>

namespace keldo::inspect {

/// The reason of that code, translated, with its placeholders filled. A code has one sentence for
/// each kind of thing that it is said of (`Subject`); a code without a sentence of that kind is a
/// broken invariant.
enum class Subject { general, port, protocolPort, socket };

Reason reason(const std::string& code, Subject subject = Subject::general,
              const std::optional<Substitution>& first = {},
              const std::optional<Substitution>& second = {});

/// The reason of that code for a failed or untestable test.
Reason reasonOfTest(const std::string& code, const Test& test);

/// What a file operation's error number means: "no_space", "over_quota", "read_only",
/// "no_directory" or "no_access", else "no_control_file".
std::string codeOfFileError(int error);

} // namespace keldo::inspect
