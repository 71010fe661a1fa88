# Flags of everything in the build, and what our own targets add to them.

# A compiler that fuses a * b + c on its own changes bytes.
add_compile_options(-ffp-contract=off)

if(TAVO_SANITIZE)
    add_compile_options(-fsanitize=${TAVO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TAVO_SANITIZE})
endif()
if(TAVO_COVERAGE)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()

# Warnings and hidden symbols for one of our targets.
function(tavo_own_target target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wconversion -Wshadow -Wpedantic -Wold-style-cast -Wnon-virtual-dtor
        -Woverloaded-virtual -Wcast-align -Wundef
        $<$<BOOL:${TAVO_WARNINGS_AS_ERRORS}>:-Werror>)
    set_target_properties(${target} PROPERTIES
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
endfunction()

# Failures show the path of their source without its ending.
function(tavo_name_sources)
    foreach(source IN LISTS ARGN)
        cmake_path(ABSOLUTE_PATH source OUTPUT_VARIABLE path)
        cmake_path(RELATIVE_PATH path BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
        cmake_path(REMOVE_EXTENSION path LAST_ONLY)
        set_property(SOURCE ${source} APPEND PROPERTY COMPILE_DEFINITIONS TAVO_SOURCE="${path}")
    endforeach()
endfunction()

# A shared library whose symbol table holds nothing but namespace tavo: templates of the standard
# library that were instantiated inside stay inside.
function(tavo_limit_exports target)
    set(script ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(${target} PRIVATE -Wl,--version-script=${script} -Wl,--no-undefined)
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${script})
endfunction()
