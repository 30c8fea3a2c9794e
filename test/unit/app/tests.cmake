# The last name is kvrDbConnectOrReport() as the linker knows it.
keldo_unit_test(app
    SOURCES
        command_line_test.cpp
        localization_test.cpp
        run_test.cpp
        standard_streams_test.cpp
        ../diag/fake_database.cpp
        ../monitor/fake_panel.cpp
        ../report/catalogue.cpp
    LIBRARIES keldo_diag keldo_db keldo_exec
    WRAP
        mysql_close
        mysql_errno
        mysql_fetch_fields
        mysql_fetch_lengths
        mysql_fetch_row
        mysql_free_result
        mysql_num_fields
        mysql_real_query
        mysql_store_result
        open64
        xmlParseFile
        _Z20kvrDbConnectOrReportv)
target_compile_definitions(app_test PRIVATE
    KELDO_MSGFMT="${GETTEXT_MSGFMT_EXECUTABLE}"
    KELDO_SCHEMA_HOST="${KELDO_SCHEMA_HOST}")
