# SPDX-License-Identifier: MIT
keldo_unit_test(app
    SOURCES
        command_line_test.cpp
        localization_test.cpp
        run_test.cpp
        standard_streams_test.cpp
    LIBRARIES
        keldo_catalogue keldo_fake_database keldo_fake_panel
        keldo_conf keldo_diag keldo_exec
    WRAP bindtextdomain dup dup2 kvrDbConnectOrReport open64)
