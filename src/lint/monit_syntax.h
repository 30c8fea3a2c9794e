// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

/// The values of a definition that stock monit (5.33) can read in a control file. If monit cannot
/// read a control file, the service always counts as running.

namespace keldo::lint {

/// Finds the first character that monit accepts only between quotes. A control file has ids and the
/// paths of unix sockets without quotes. Returns a phrase such as "a space", or "" if there is no
/// such character.
std::string unquotableCharacter(std::string_view text);

/// Whether monit knows the protocol and needs no further words for it. isUdpProtocol() tells
/// whether monit accepts it on UDP ports only. Both ignore case.
bool isMonitProtocol(std::string_view name);
bool isUdpProtocol(std::string_view name);

/// Whether two names are equal for monit, which ignores case.
bool isSameMonitName(std::string_view a, std::string_view b);

} // namespace keldo::lint
