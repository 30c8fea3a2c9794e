# SPDX-License-Identifier: MIT
keldo_unit_test(lint
    SOURCES
        command_line_test.cpp
        definition_checks_test.cpp
        document_test.cpp
        entity_texts_test.cpp
        escaped_text_test.cpp
        finding_test.cpp
        lint_file_test.cpp
        monit_acceptance_test.cpp
        monit_syntax_test.cpp
        run_test.cpp
        schema_check_test.cpp
    LIBRARIES keldo_exec
    WRAP access mkdtemp pipe system xmlSchemaNewValidCtxt)
target_compile_definitions(lint_test PRIVATE
    KELDO_SCHEMA_HOST="${KELDO_SCHEMA_HOST}"
    KELDO_SCHEMAS="${PROJECT_BINARY_DIR}/schemas")
