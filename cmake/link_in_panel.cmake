# SPDX-License-Identifier: MIT
# Run by each installation: the panel starts ${program} in ${folder}, the folder of its own programs,
# wherever the prefix of this installation has put it.
cmake_path(ABSOLUTE_PATH program BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
cmake_path(GET program FILENAME name)
cmake_path(SET link NORMALIZE "${folder}/${name}")
# Installed there itself, it needs no link, and one would replace it.
if(NOT link STREQUAL program)
    # Made in the build first, since installing it obeys DESTDIR and enters it into the manifest.
    file(CREATE_LINK "${program}" "${staging}/${name}" SYMBOLIC)
    file(INSTALL "${staging}/${name}" DESTINATION "${folder}")
endif()
