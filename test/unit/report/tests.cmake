# SPDX-License-Identifier: MIT
keldo_unit_test(report
    SOURCES
        element_content_test.cpp
        problem_model_test.cpp
        report_writer_test.cpp
        translation_test.cpp
    LIBRARIES keldo_catalogue keldo_xml
    WRAP gettext poll write xmlDocDumpFormatMemoryEnc xmlNewChild)
