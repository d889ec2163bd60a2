# dataio_folder(NAME SOURCES... ): the object library of one source folder. The shared library is made of
# these objects; the tests of modules that are not exported link them directly.
function(dataio_folder name)
    add_library(${name} OBJECT ${ARGN})
    target_compile_features(${name} PUBLIC cxx_std_17)
    set_target_properties(${name} PROPERTIES
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${DataIO_SOURCE_DIR}>
        $<BUILD_INTERFACE:${DATAIO_GENERATED_DIR}>)
    target_link_libraries(${name} PUBLIC Qt6::Core Qt6::Gui Boost::headers)
    dataio_compile_options(${name})
endfunction()

# What all sources of the project are compiled with.
function(dataio_compile_options target)
    # Locations in log records are relative to the source root.
    target_compile_options(${target} PRIVATE -fmacro-prefix-map=${DataIO_SOURCE_DIR}/=)
    if(DATAIO_STRICT_WARNINGS)
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow -Werror)
    endif()
endfunction()
