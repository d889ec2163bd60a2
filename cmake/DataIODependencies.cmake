# What the library needs, each with its purpose; dataio_print_summary() lists them when the configure run ends.
option(DATAIO_USE_LIBDEFLATE "Read zlib and gzip frames with libdeflate" ON)

set(DATAIO_DEPENDENCIES "")
macro(dataio_dependency name version purpose)
    string(APPEND DATAIO_DEPENDENCIES "\n  ${name} ${version}: ${purpose}")
endmacro()

find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui)
dataio_dependency("Qt Core, Gui" ${Qt6_VERSION} "strings, images, translation; part of the interface")

find_package(Boost 1.74 REQUIRED COMPONENTS iostreams)
dataio_dependency(Boost ${Boost_VERSION} "compression filters; shared_ptr and optional in the interface")

find_package(ZLIB REQUIRED)
dataio_dependency(zlib ${ZLIB_VERSION_STRING} "zlib and gzip frames")

find_package(BZip2 REQUIRED)
dataio_dependency(bzip2 ${BZIP2_VERSION_STRING} "bzip2 frames")

# Linked into the library and seen by nobody who uses it.
set(DATAIO_PRIVATE_LIBRARIES Boost::iostreams ZLIB::ZLIB BZip2::BZip2)

if(DATAIO_USE_LIBDEFLATE)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(libdeflate REQUIRED IMPORTED_TARGET libdeflate)
    list(APPEND DATAIO_PRIVATE_LIBRARIES PkgConfig::libdeflate)
    dataio_dependency(libdeflate ${libdeflate_VERSION}
        "zlib and gzip frames, faster; -DDATAIO_USE_LIBDEFLATE=OFF does without")
endif()

function(dataio_print_summary)
    message(STATUS "DataIO ${PROJECT_VERSION} uses${DATAIO_DEPENDENCIES}")
    if(NOT DATAIO_USE_LIBDEFLATE)
        message(STATUS "DataIO does without libdeflate")
    endif()
    message(STATUS "DataIO builds tests: ${DATAIO_BUILD_TESTS}, examples: ${DATAIO_BUILD_EXAMPLES}")
endfunction()
