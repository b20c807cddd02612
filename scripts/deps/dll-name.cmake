# Named as on Windows: log4cxx.dll, not liblog4cxx.dll.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
