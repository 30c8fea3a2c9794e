# SPDX-License-Identifier: MIT
keldo_unit_test(db
    SOURCES
        cpp_mysql_test.cpp
        panel_database_test.cpp
    LIBRARIES keldo_fake_database
    WRAP malloc)
