# SPDX-License-Identifier: MIT
keldo_unit_test(diag
    SOURCES
        repair_test.cpp
        service_diagnosis_test.cpp
        services_to_check_test.cpp
        upgrade_check_test.cpp
    LIBRARIES keldo_catalogue keldo_fake_database keldo_fake_panel keldo_exec
    WRAP kvrDbConnectOrReport pipe)
