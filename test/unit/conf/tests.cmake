# SPDX-License-Identifier: MIT
# The last name is conf_get_r() as the linker knows it: the tests count how often the table of
# variables is searched.
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
        _Z10conf_get_rPKcPK8conf_rec)
