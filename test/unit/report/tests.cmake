# SPDX-License-Identifier: MIT
keldo_unit_test(report
    SOURCES
        catalogue.cpp
        message_test.cpp
        problem_model_test.cpp
        report_writer_test.cpp
        translation_test.cpp
        xml_memory_test.cpp
        xml_text_test.cpp
    WRAP gettext malloc poll realloc strdup write xmlDocDumpFormatMemoryEnc)
target_compile_definitions(report_test PRIVATE KELDO_MSGFMT="${GETTEXT_MSGFMT_EXECUTABLE}")
