// SPDX-License-Identifier: MIT

#include "adapter/failure.h"

#include <cerrno>
#include <system_error>

namespace keldo::adapter {

Failure failureFromErrno(const std::string& what) {
    return Failure(what + " -- " + std::generic_category().message(errno));
}

} // namespace keldo::adapter
