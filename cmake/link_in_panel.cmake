# SPDX-License-Identifier: MIT
# Each installation runs this script. It makes a link in ${folder}, where the panel looks for
# ${program}, to the program below the prefix.
cmake_path(ABSOLUTE_PATH program BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
cmake_path(GET program FILENAME name)
cmake_path(SET link NORMALIZE "${folder}/${name}")
# If the program is installed there, the link would replace it.
if(NOT link STREQUAL program)
    # Make the link in the build first: file(INSTALL) obeys DESTDIR and extends the manifest.
    file(CREATE_LINK "${program}" "${staging}/${name}" SYMBOLIC)
    file(INSTALL "${staging}/${name}" DESTINATION "${folder}")
endif()
