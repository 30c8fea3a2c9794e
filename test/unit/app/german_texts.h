// SPDX-License-Identifier: MIT

#pragma once

#include "support/catalogue.h"

namespace keldo::test {

/// The German catalogue in all tests of this program, since gettext() reads each path only once.
inline const Translations germanTexts = {
    {"Upgrade is in progress. Please wait.", "Eine Aktualisierung läuft."},
    {"The <service_title> service is switched off.", "Der Dienst »<service_title>« läuft nicht."},
};

} // namespace keldo::test
