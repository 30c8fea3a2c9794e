// SPDX-License-Identifier: MIT

#pragma once

#include "support/catalogue.h"

namespace keldo::test {

/// The German catalogue of every panel in these tests: gettext does not read a path again.
inline const Translations germanTexts = {
    {"Upgrade is in progress. Please wait.", "Eine Aktualisierung läuft."},
    {"The <service_title> service is switched off.", "Der Dienst »<service_title>« läuft nicht."},
};

} // namespace keldo::test
