// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

/// What stock monit (5.33) can read of the values that a control file carries, and what its words
/// mean. A control file that it cannot read is never checked, and the service counts as running.

namespace keldo::lint {

/// Characters that monit takes only between quotes, where a control file has an id or the path of a
/// unix socket without any: the first such character of the text, as a phrase such as "a space";
/// empty where there is none. Some it would take at the end, but leave them out of the name.
std::string unquotableCharacter(std::string_view text);

/// Whether monit knows the protocol by that name, in upper or lower case, and takes it without
/// further words; some on a UDP port alone.
bool isMonitProtocol(std::string_view name);

/// Whether the protocol is one that monit refuses on a port that is not UDP.
bool isProtocolOfUdpAlone(std::string_view name);

/// Whether the word, in upper or lower case, is one of the control file's language and not the name
/// of a protocol: services are often named after protocols.
bool isMonitKeyword(std::string_view word);

/// Whether two names are one for monit, which makes no difference between upper and lower case.
bool isSameMonitName(std::string_view a, std::string_view b);

} // namespace keldo::lint
