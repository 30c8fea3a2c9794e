# SPDX-License-Identifier: MIT
# Targets for the sources: `format` formats them, `check` checks them.
find_program(CLANG_FORMAT clang-format)
find_program(CLANG_TIDY clang-tidy)
find_program(CPPCHECK cppcheck)

file(GLOB_RECURSE sources CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/src/*.cpp ${PROJECT_SOURCE_DIR}/src/*.h
    ${PROJECT_SOURCE_DIR}/libexec/*.cpp ${PROJECT_SOURCE_DIR}/libexec/*.h
    ${PROJECT_SOURCE_DIR}/bench/*.cpp ${PROJECT_SOURCE_DIR}/bench/*.h
    ${PROJECT_SOURCE_DIR}/test/*.cpp ${PROJECT_SOURCE_DIR}/test/*.h)
set(shipped_sources ${sources})
list(FILTER shipped_sources INCLUDE REGEX "/(src|libexec)/.*[.]cpp$")

add_custom_target(format
    COMMAND ${CLANG_FORMAT} -i ${sources}
    VERBATIM)

add_custom_target(check-format
    COMMAND ${CLANG_FORMAT} --dry-run --Werror ${sources}
    COMMENT "clang-format"
    VERBATIM)

# One file at a time: clang-tidy reports false errors for va_list if it gets several.
set(tidy_results)
foreach(source ${shipped_sources})
    string(MAKE_C_IDENTIFIER ${source} name)
    set(result ${PROJECT_BINARY_DIR}/tidy/${name})
    add_custom_command(
        OUTPUT ${result}
        COMMAND ${CLANG_TIDY} -p ${PROJECT_BINARY_DIR} --quiet ${source}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/tidy
        COMMAND ${CMAKE_COMMAND} -E touch ${result}
        DEPENDS ${sources} ${PROJECT_SOURCE_DIR}/.clang-tidy
        COMMENT "clang-tidy ${source}"
        VERBATIM)
    list(APPEND tidy_results ${result})
endforeach()
add_custom_target(check-tidy DEPENDS ${tidy_results})

add_custom_target(check-cppcheck
    COMMAND ${CPPCHECK} --project=${PROJECT_BINARY_DIR}/compile_commands.json --quiet
        --file-filter=${PROJECT_SOURCE_DIR}/src/* --file-filter=${PROJECT_SOURCE_DIR}/libexec/*
        --enable=warning,performance,portability --inline-suppr --error-exitcode=1
        --suppress=missingIncludeSystem
    COMMENT "cppcheck"
    VERBATIM)

add_custom_target(check DEPENDS check-format check-tidy check-cppcheck)
