# SPDX-License-Identifier: MIT
keldo_unit_test(monitor
    SOURCES
        ending_signals_test.cpp
        fake_panel.cpp
        file_remover_test.cpp
        forced_failures.cpp
        monitor_configuration_test.cpp
        monitor_status_test.cpp
        service_catalogue_test.cpp
        service_definition_test.cpp
        xpath_test.cpp
        ../report/catalogue.cpp
    LIBRARIES keldo_exec
    WRAP
        pipe read strdup
        xmlParseFile xmlXPathEvalExpression xmlXPathNewContext xmlXPathRegisterNs)
target_compile_definitions(monitor_test PRIVATE
    KELDO_MSGFMT="${GETTEXT_MSGFMT_EXECUTABLE}"
    KELDO_SCHEMA_HOST="${KELDO_SCHEMA_HOST}")
