# Installation: the library, its public headers, a CMake package and a pkg-config file. Everything refers to
# everything else relatively, so the installed tree may be moved.
include(CMakePackageConfigHelpers)

# Written out, since a header that is not listed is not offered.
set(DATAIO_PUBLIC_HEADERS
    libCommon/exceptions.h
    libCommon/export.h
    libCommon/locationinfo.h
    libCommon/logorigin.h
    libCommon/mzpalette.h
    libLog/logger.h
    libLog/loglevel.h
    libLog/logstream.h
    libDataIO/attributechunk.h
    libDataIO/attributepaletteadaptor.h
    libDataIO/chunkheader.h
    libDataIO/chunkindex.h
    libDataIO/chunkinfo.h
    libDataIO/chunkreader.h
    libDataIO/chunkwriter.h
    libDataIO/dataiocommon.h
    libDataIO/fdchunkwriter.h
    libDataIO/filereader.h
    libDataIO/filewriter.h
    libDataIO/frametimer.h
    libDataIO/imagereader.h
    libDataIO/imageutilities.h
    libDataIO/imagewriter.h
    libDataIO/ireconstructionservice.h
    libDataIO/mmapchunkreader.h
    libDataIO/paldatagenerator.h
    libDataIO/rsqcompressutil.h
    libDataIO/salvagereport.h)

install(TARGETS DataIO EXPORT DataIOTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(header IN LISTS DATAIO_PUBLIC_HEADERS)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()
install(FILES ${DATAIO_GENERATED_DIR}/libCommon/version.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libCommon)

# CMake: find_package(DataIO), then DataIO::DataIO.
set(dataio_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/DataIO)
configure_package_config_file(cmake/DataIOConfig.cmake.in DataIOConfig.cmake
    INSTALL_DESTINATION ${dataio_package_dir}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(DataIOConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/DataIOConfig.cmake ${PROJECT_BINARY_DIR}/DataIOConfigVersion.cmake
    DESTINATION ${dataio_package_dir})
install(EXPORT DataIOTargets NAMESPACE DataIO:: DESTINATION ${dataio_package_dir})

# pkg-config: DataIO. Absolute install directories stay as they are, others are found from the file's own place.
set(dataio_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(DATAIO_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
    set(DATAIO_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
else()
    file(RELATIVE_PATH to_prefix /${dataio_pkgconfig_dir} /)
    string(REGEX REPLACE "/$" "" to_prefix "${to_prefix}")
    set(DATAIO_PC_PREFIX "\${pcfiledir}/${to_prefix}")
    set(DATAIO_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
    set(DATAIO_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
else()
    set(DATAIO_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/DataIO.pc.in DataIO.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/DataIO.pc DESTINATION ${dataio_pkgconfig_dir})
