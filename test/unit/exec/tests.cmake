# SPDX-License-Identifier: MIT
keldo_unit_test(exec
    SOURCES
        command_runner_test.cpp
        ending_signals_test.cpp
        file_remover_test.cpp
        inherited_state_test.cpp
        private_directory_test.cpp
        program_name_test.cpp
        unique_fd_test.cpp
    WRAP
        dup2 flock fork geteuid pipe read rmdir system unlinkat waitpid)
