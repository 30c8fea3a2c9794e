// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::test {

/// Which calls fail until the flag is cleared.
struct ForcedFailures {
    bool newXPathContext = false;   ///< xmlXPathNewContext gives null
    bool registerNamespace = false; ///< xmlXPathRegisterNs registers nothing
    bool elements = false;          ///< xmlXPathEvalExpression gives null except for a count
    bool controlFileName = false;   ///< strdup of a control file's name gives null
    bool pipe = false;              ///< pipe gives -1
    bool read = false;              ///< the next read throws std::bad_alloc
};

extern ForcedFailures forcedFailures;

/// Clears all flags on destruction.
struct ForcedFailuresEnd {
    ~ForcedFailuresEnd() { forcedFailures = ForcedFailures(); }
};

} // namespace keldo::test
