// SPDX-License-Identifier: MIT

#pragma once

#include "monitor/service_definition.h"

#include <ostream>
#include <string>
#include <vector>

namespace keldo {

/// Writes the text of a control file for the monit program that checks this one service: a process
/// check by the pid file, or without one a host check of the local address, followed by the tests
/// of the unix sockets (process check only) and of the ports. Nothing where there is neither a pid
/// file nor a port.
void writeControlFile(const ServiceDefinition& definition, std::ostream& stream);

/// Writes that text to a control file and returns its path: a new file of mode 0600 in the "tmp"
/// folder below PRODUCT_ROOT_D; the caller removes it. Failures do not show, but that the path may
/// then name no file, the file may lack lines, or, made by the stream where mkstemp could not, may
/// have another mode; without memory for the name, the path is empty.
std::string writeMonitorConfig(const ServiceDefinition& definition);

/// One test line, without indent and line end. Values stand as they are, unquoted; around a type
/// that is not TCP there is a space on either side, whatever follows.
std::string portTestLine(const PortCheck& port);
std::string unixSocketTestLine(const std::string& path);

/// Write the lines of the checks, in order, each after `indent`; the stream is flushed after each,
/// so that of a file that could not be written whole the lines before are there.
void writePortTests(const std::vector<PortCheck>& ports, std::ostream& stream,
                    const std::string& indent);
void writeUnixSocketTests(const std::vector<UnixSocketCheck>& sockets, std::ostream& stream,
                          const std::string& indent);

} // namespace keldo
