# SPDX-License-Identifier: MIT
# The last name is steady_clock::now() as the linker knows it.
keldo_unit_test(adapter
    SOURCES
        batch_test.cpp
        check_services_test.cpp
        command_line_test.cpp
        control_file_test.cpp
        fake_monit.cpp
        file_test.cpp
        monit_test.cpp
        run_test.cpp
        service_test.cpp
        status_request_test.cpp
        watch_test.cpp
    WRAP
        access dup2 execve fork mkdtemp poll read send signalfd write
        _ZNSt6chrono3_V212steady_clock3nowEv)
target_include_directories(adapter_test PRIVATE unit/adapter)
target_compile_definitions(adapter_test PRIVATE
    KELDO_RECORDED="${CMAKE_CURRENT_SOURCE_DIR}/unit/adapter/recorded")
