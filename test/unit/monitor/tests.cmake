# SPDX-License-Identifier: MIT
keldo_unit_test(monitor
    SOURCES
        control_file_test.cpp
        definition_lines_test.cpp
        forced_failures.cpp
        monitor_run_test.cpp
        service_catalogue_test.cpp
        service_definition_test.cpp
    LIBRARIES keldo_catalogue keldo_fake_panel keldo_exec keldo_xml
    WRAP pipe read strdup xmlXPathEvalExpression xmlXPathNewContext xmlXPathRegisterNs)
