# Debian packages, made by `cpack`: libtavo-cv1 (its number is that of the SONAME) and
# libtavo-cv-dev. scripts/package.sh lays out their files as Debian does.
set(runtime_package libtavo-cv${PROJECT_VERSION_MAJOR})
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT "The tavo_cv developers")
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libtavo-cv-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION} (libraries)")
set(CPACK_COMPONENT_DEV_DESCRIPTION "${PROJECT_DESCRIPTION} (headers and build files)")

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()

# What the libraries need. Of another processor's packages this machine knows nothing: there it is
# what the compiler stands on.
if(CMAKE_CROSSCOMPILING)
    execute_process(
        COMMAND ${CMAKE_CXX_COMPILER} -dM -E -x c++ -include features.h /dev/null
        OUTPUT_VARIABLE macros COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE ".*define __GLIBC__ ([0-9]+).*" "\\1" glibc "${macros}")
    string(REGEX REPLACE ".*define __GLIBC_MINOR__ ([0-9]+).*" "\\1" glibc_minor "${macros}")
    string(REGEX MATCH "^[0-9]+" compiler "${CMAKE_CXX_COMPILER_VERSION}")
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
        "libc6 (>= ${glibc}.${glibc_minor}), libgcc-s1, libstdc++6 (>= ${compiler})")
else()
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
# What packages of programs that use the libraries will need.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
include(CPack)
