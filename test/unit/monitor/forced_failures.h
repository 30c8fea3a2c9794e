// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::test {

/// Which calls fail, until it is set otherwise.
struct ForcedFailures {
    bool newXPathContext = false;   ///< xmlXPathNewContext gives null
    bool registerNamespace = false; ///< xmlXPathRegisterNs registers nothing
    bool elements = false;          ///< xmlXPathEvalExpression gives null, but for a count
    bool controlFileName = false;   ///< strdup of a control file's name gives null
    bool pipe = false;              ///< pipe gives -1
    bool read = false;              ///< read throws std::bad_alloc, once
};

extern ForcedFailures forcedFailures;

/// Forces no failure any more when it goes.
struct ForcedFailuresEnd {
    ~ForcedFailuresEnd() { forcedFailures = ForcedFailures(); }
};

} // namespace keldo::test
