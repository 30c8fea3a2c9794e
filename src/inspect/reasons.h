// SPDX-License-Identifier: MIT

#pragma once

#include "inspect/inspection.h"
#include "report/translation.h"

#include <optional>
#include <string>

namespace keldo::inspect {

/// The kind of thing that a sentence is about.
enum class Subject { general, port, protocolPort, socket };

/// Returns the reason with this code: its sentence for the subject, translated, with its
/// placeholders filled. A code without such a sentence is an assertion failure.
Reason reason(const std::string& code, Subject subject = Subject::general,
              const std::optional<Substitution>& first = {},
              const std::optional<Substitution>& second = {});

/// The reason with this code for a test of a port or socket.
Reason reasonOfTest(const std::string& code, const Test& test);

/// The code for the error number of a file operation: "no_space", "over_quota", "read_only",
/// "no_directory" or "no_access", else "no_control_file".
std::string codeOfFileError(int error);

} // namespace keldo::inspect
