// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <cstdint>
#include <string>
#include <vector>

namespace keldo {

/// A unix socket that a running service listens on.
struct UnixSocketCheck {
    std::string path;     ///< never empty
    std::string protocol; ///< empty if not given; not written to the control file

    bool operator==(const UnixSocketCheck&) const = default;
};

enum class PortType : std::int32_t { TCP = 0, UDP = 1, TCPSSL = 2 };

/// The type of that name; TCP for any other text.
PortType portType(const std::string& text);

/// Returns the port number that boost::lexical_cast reads from a text, or 0 if it reads none. Port
/// 0 is never checked.
std::uint32_t portNumber(const std::string& text);

/// A network port that a running service listens on.
struct PortCheck {
    PortType type = PortType::TCP;
    std::uint32_t number = 0; ///< never 0; may exceed 65535
    std::string protocol;     ///< monit's name for it; empty if not given

    bool operator==(const PortCheck&) const = default;
};

/// The service id of the panel's database. keldoctl tests the database by a connection, without the
/// monitor, so the checks in its definition have no effect.
inline constexpr const char* databaseService = "mysql";

/// The XML namespace of all elements of a definition: http://HOST/schemas/keldo/service/1 (HOST:
/// KELDO_SCHEMA_HOST of the build).
extern const char* const definitionNamespace;

/// The directory of all definitions: PRODUCT_ETC_D + "/service". PRODUCT_ETC_D is not a known
/// variable, so it is empty whatever the configuration file says.
std::string definitionDirectory();

/// The path of the definition of the service `requestedId`, which is not checked or escaped.
std::string definitionPath(const std::string& requestedId);

/// What the panel knows of one service. Its file is XML, every element in definitionNamespace:
///
///     <service id="web">
///       <title xml:lang="en-US">Web Server</title>
///       <action type="start">...</action>
///       <action type="stop">...</action>
///       <checks>
///         <pid-file>/run/web.pid</pid-file>
///         <unix-socket protocol="http">/run/web.sock</unix-socket>
///         <port number="443" type="TCPSSL" protocol="http"/>
///       </checks>
///     </service>
///
/// Texts are taken whole, without trimming. Anything else in the file is ignored. Missing parts are
/// empty.
struct ServiceDefinition {
    ServiceDefinition() = default;

    /// Reads the file of the service `requestedId`. The definition has the id that is in the file.
    /// It is empty if the file is missing or not well-formed. Throws boost::bad_lexical_cast if the
    /// checks cannot be counted.
    explicit ServiceDefinition(const std::string& requestedId);

    bool operator==(const ServiceDefinition&) const = default;

    std::string id;          ///< empty for an unknown service
    Message title;           ///< in the report's language or in English
    std::string startAction; ///< shell commands
    std::string stopAction;  ///< shell commands
    std::string pidFile;
    std::vector<UnixSocketCheck> unixSockets; ///< in document order
    std::vector<PortCheck> ports;             ///< in document order
};

/// Reads the definition in the file at `path`, like the constructor.
ServiceDefinition readServiceDefinition(const std::string& path);

} // namespace keldo
