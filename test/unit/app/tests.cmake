# SPDX-License-Identifier: MIT
keldo_unit_test(app
    SOURCES
        command_line_test.cpp
        localization_test.cpp
        run_test.cpp
        standard_streams_test.cpp
        ../diag/fake_database.cpp
        ../monitor/fake_panel.cpp
        ../report/catalogue.cpp
    LIBRARIES keldo_conf keldo_diag keldo_db keldo_exec
    WRAP ${fake_database_functions} bindtextdomain dup dup2 open64 xmlParseFile)
target_compile_definitions(app_test PRIVATE
    KELDO_MSGFMT="${GETTEXT_MSGFMT_EXECUTABLE}"
    KELDO_SCHEMA_HOST="${KELDO_SCHEMA_HOST}")
