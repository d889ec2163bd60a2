#pragma once

// Which part of the imaging system a failure comes from.

namespace mz {

enum LogOrigin : int {
    SOFTWARE = 0,  ///< inconsistent data or wrong use
    LSU = 1,       ///< laser scanning unit
    COMMUNICATION = 2,
    FILESYSTEM = 3,  ///< a path or file as a whole
    SYSCALL = 4,     ///< a failed system call on an open descriptor
    CONFIG = 5,
    IMPROCESS = 6,
    USEREVENT = 7
};

}  // namespace mz
