// SPDX-License-Identifier: MIT

#pragma once

#include "report/problem_model.h"

#include <cstdint>
#include <libxml/xpath.h>
#include <string>
#include <vector>

namespace keldo {

/// A unix socket that a running service listens on.
struct UnixSocketCheck {
    std::string path;     ///< never empty
    std::string protocol; ///< empty when not given; the monitor is not told of it

    bool operator==(const UnixSocketCheck&) const = default;
};

enum class PortType : std::int32_t { TCP = 0, UDP = 1, TCPSSL = 2 };

/// TCP for a text that names no type.
PortType portType(const std::string& text);

/// The port number that a text is: 0, which is not checked, for one that is not an unsigned number
/// as lexical_cast takes it.
std::uint32_t portNumber(const std::string& text);

/// A network port that a running service listens on.
struct PortCheck {
    PortType type = PortType::TCP;
    std::uint32_t number = 0; ///< never 0; may exceed 65535, as the definition says
    std::string protocol;     ///< the monitor's name of it; empty when not given

    bool operator==(const PortCheck&) const = default;
};

/// The id of the panel's database. Whether it is up is seen from a connection to it: the monitor is
/// not asked, and its checks have no effect.
inline constexpr const char* databaseService = "mysql";

/// The XML namespace of all elements of a definition: http://HOST/schemas/keldo/service/1 (HOST:
/// KELDO_SCHEMA_HOST of the build).
extern const char* const definitionNamespace;

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
/// Texts are taken whole, without trimming; anything else in the file is ignored. What the file
/// lacks is empty.
struct ServiceDefinition {
    ServiceDefinition() = default;

    /// Reads the file of the service `requestedId`, /service/ID.xml: the "service" folder below
    /// PRODUCT_ETC_D, which is no known variable and so reads as empty, whatever the configuration
    /// file says. The id is used as it is, and the one in the file wins over it. Empty, with an
    /// empty id, where the file is missing or is not well-formed. Throws boost::bad_lexical_cast
    /// where the checks cannot be counted.
    explicit ServiceDefinition(const std::string& requestedId);

    bool operator==(const ServiceDefinition&) const = default;

    std::string id;          ///< empty: not a known service
    Message title;           ///< in the report's language or in English
    std::string startAction; ///< shell commands
    std::string stopAction;  ///< shell commands
    std::string pidFile;
    std::vector<UnixSocketCheck> unixSockets; ///< in document order
    std::vector<PortCheck> ports;             ///< in document order
};

/// The definition that the file at `path` holds, as the constructor reads it.
ServiceDefinition readServiceDefinition(const std::string& path);

/// The readers of a definition's parts. `context` is that of its document, with the namespace
/// registered as "s".
///
/// The title in the report's language, or else the English one; its text is empty without either.
Message readTitle(xmlXPathContext* context);

/// The checks by position: the first unix sockets (ports) of all `checks` elements together, then
/// the second ones, and so on; of each position the first element counts, and the first attribute
/// of a name. So several `checks` do not add up; a definition has one. Skipped are sockets without
/// a path, and ports whose number is missing, not an unsigned number as lexical_cast takes it, or
/// zero. An unknown port type is TCP. Both throw boost::bad_lexical_cast where the elements cannot
/// be counted.
std::vector<UnixSocketCheck> readUnixSocketChecks(xmlXPathContext* context);
std::vector<PortCheck> readPortChecks(xmlXPathContext* context);

} // namespace keldo
