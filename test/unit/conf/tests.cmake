# SPDX-License-Identifier: MIT
keldo_unit_test(conf
    SOURCES
        assertion_test.cpp
        autoprepend_test.cpp
        config_value_test.cpp
        forced_failures.cpp
        handles_test.cpp
        messages_test.cpp
        printed_text.cpp
        read_configuration_test.cpp
    WRAP
        malloc calloc realloc free strdup vasprintf __vasprintf_chk getdelim qsort
        openlog closelog syslog vsyslog
        conf_get_r)
