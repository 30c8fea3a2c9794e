// SPDX-License-Identifier: MIT

#include "monit_check_status/failure.h"

#include <cerrno>
#include <system_error>

namespace keldo::monit_check_status {

Failure failureFromErrno(const std::string& what) {
    return Failure(what + " -- " + std::generic_category().message(errno));
}

} // namespace keldo::monit_check_status
