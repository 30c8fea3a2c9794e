// SPDX-License-Identifier: MIT

#include "conf/config_value.h"

#include "conf/autoprepend.h"

namespace keldo {

std::string configValue(const std::string& name) {
    const char* const value = kvrConfGetDefault(name.c_str());
    return value != nullptr ? value : "";
}

} // namespace keldo
