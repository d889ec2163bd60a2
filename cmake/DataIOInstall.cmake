# Installation: the library, its public headers, a CMake package and a pkg-config file.
