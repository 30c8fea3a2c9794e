// SPDX-License-Identifier: MIT

#pragma once

namespace keldo::test {

/// From now on libxml2 prints no messages: nearly every input has faults, and none is of interest.
void silenceLibxml2();

} // namespace keldo::test
