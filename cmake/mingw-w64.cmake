# Cross build for Windows with Debian's mingw-w64 (posix thread model,
# so std::thread and std::mutex are available; linked statically).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(prefisso x86_64-w64-mingw32)
find_program(CMAKE_C_COMPILER NAMES ${prefisso}-gcc-posix ${prefisso}-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${prefisso}-g++-posix ${prefisso}-g++ REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${prefisso}-windres REQUIRED)
set(CMAKE_FIND_ROOT_PATH /usr/${prefisso})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
