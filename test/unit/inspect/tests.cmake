# SPDX-License-Identifier: MIT
keldo_unit_test(inspect
    SOURCES
        answer_test.cpp
        command_line_test.cpp
        control_files_test.cpp
        database_inquiry_test.cpp
        documents_test.cpp
        event_loop_test.cpp
        failing_call.cpp
        judgement_test.cpp
        look_test.cpp
        monitor_inquiry_test.cpp
        names_test.cpp
        reasons_test.cpp
    LIBRARIES keldo_catalogue keldo_fake_database keldo_fake_panel
    WRAP
        dup2 fcntl fork getppid kvrDbConnectOrReport open read socket write
        xmlDocDumpFormatMemoryEnc xmlReadMemory)
target_include_directories(inspect_test PRIVATE unit/inspect)
