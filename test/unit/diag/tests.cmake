# SPDX-License-Identifier: MIT
# What fake_database.cpp stands for. The last name is kvrDbConnectOrReport() as the linker knows it.
set(fake_database_functions
    mysql_close
    mysql_errno
    mysql_fetch_fields
    mysql_fetch_lengths
    mysql_fetch_row
    mysql_free_result
    mysql_num_fields
    mysql_real_query
    mysql_store_result
    _Z20kvrDbConnectOrReportv)

keldo_unit_test(diag
    SOURCES
        fake_database.cpp
        repair_test.cpp
        service_diagnosis_test.cpp
        services_to_check_test.cpp
        upgrade_check_test.cpp
        ../monitor/fake_panel.cpp
        ../report/catalogue.cpp
    LIBRARIES keldo_db keldo_exec
    WRAP ${fake_database_functions} pipe xmlParseFile)
target_compile_definitions(diag_test PRIVATE
    KELDO_MSGFMT="${GETTEXT_MSGFMT_EXECUTABLE}"
    KELDO_SCHEMA_HOST="${KELDO_SCHEMA_HOST}")
