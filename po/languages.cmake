# SPDX-License-Identifier: MIT
# Reads po/LINGUAS: keldo_catalogues has the names of the catalogues (de, pt_BR), keldo_locales
# those of their locales (de_DE, pt_BR), in the same order.
set(keldo_linguas ${CMAKE_CURRENT_LIST_DIR}/LINGUAS)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${keldo_linguas})
file(STRINGS ${keldo_linguas} lines REGEX "^[^#]")
set(keldo_catalogues)
set(keldo_locales)
foreach(line ${lines})
    if(NOT line MATCHES "^([a-z]+(_[A-Z]+)?) +# ([a-z]+_[A-Z]+)$")
        message(FATAL_ERROR "po/LINGUAS: not a catalogue and its locale -- ${line}")
    endif()
    list(APPEND keldo_catalogues ${CMAKE_MATCH_1})
    list(APPEND keldo_locales ${CMAKE_MATCH_3})
endforeach()
