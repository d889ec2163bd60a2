# libDataIO.so: the objects of the three folders behind one interface.
add_library(DataIO SHARED
    $<TARGET_OBJECTS:dataio_common> $<TARGET_OBJECTS:dataio_log> $<TARGET_OBJECTS:dataio_core>)
add_library(DataIO::DataIO ALIAS DataIO)
set_target_properties(DataIO PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
target_compile_features(DataIO INTERFACE cxx_std_17)
target_include_directories(DataIO INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${DATAIO_GENERATED_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(DataIO
    PUBLIC Qt6::Core Qt6::Gui Boost::headers
    PRIVATE ${DATAIO_PRIVATE_LIBRARIES})
