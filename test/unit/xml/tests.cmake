# SPDX-License-Identifier: MIT
keldo_unit_test(xml
    SOURCES
        characters_test.cpp
        memory_test.cpp
        xpath_test.cpp
    LIBRARIES keldo_catalogue
    WRAP malloc realloc strdup)
