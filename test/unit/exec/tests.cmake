# SPDX-License-Identifier: MIT
keldo_unit_test(exec
    SOURCES
        command_runner_test.cpp
        ending_signals_test.cpp
        file_remover_test.cpp
        private_directory_test.cpp
        process_state_test.cpp
        unique_fd_test.cpp
    WRAP
        close_range dup2 flock fork geteuid pipe read rmdir system unlinkat waitpid)
