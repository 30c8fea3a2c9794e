// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <ostream>
#include <string>
#include <vector>

namespace keldo {

/// Writes the control file with which monit checks this one service. With a pid file it is a
/// process check with a test for each unix socket and port; with ports only, a host check of
/// 127.0.0.1 with a test for each port. Without pid file and ports nothing is written.
void writeControlFile(const ServiceDefinition& definition, std::ostream& stream);

/// Writes the control file to a new file of mode 0600 in the folder "tmp" below PRODUCT_ROOT_D.
/// Returns its path; the caller removes the file. Failures are not reported: the path may name no
/// file or an incomplete one, and is empty if memory ran out. If mkstemp failed, the stream creates
/// the file and its mode may differ.
std::string writeMonitorConfig(const ServiceDefinition& definition);

/// One test line, without indent and line end. Values are written as they are, unquoted. Two spaces
/// follow UDP and TCPSSL.
std::string portTestLine(const PortCheck& port);
std::string unixSocketTestLine(const std::string& path);

/// Write one line per check, in order, each after `indent`. The stream is flushed after each line,
/// so that a full disk loses only the lines that do not fit.
void writePortTests(const std::vector<PortCheck>& ports, std::ostream& stream,
                    const std::string& indent);
void writeUnixSocketTests(const std::vector<UnixSocketCheck>& sockets, std::ostream& stream,
                          const std::string& indent);

} // namespace keldo
