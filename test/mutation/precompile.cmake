# SPDX-License-Identifier: MIT
# For the builds of script/mutate, as CMAKE_PROJECT_INCLUDE: reads the large headers once instead of
# for each mutant.
function(precompile)
    foreach(folder report monitor db diag app)
        target_precompile_headers(keldo_${folder} PRIVATE
            <algorithm> <fstream> <iostream> <map> <sstream> <string> <vector>)
    endforeach()
    target_precompile_headers(keldo_monitor PRIVATE <boost/lexical_cast.hpp>)
endfunction()
cmake_language(DEFER CALL precompile)
