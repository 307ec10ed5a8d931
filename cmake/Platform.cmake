# Chooses the platform layer's implementation and the system libraries it needs.
if(WIN32)
  set(QVCS_PLATFORM_DIR windows)
  set(QVCS_PLATFORM_LIBS advapi32 ole32 psapi crypt32 ws2_32)
else()
  set(QVCS_PLATFORM_DIR posix)
  set(QVCS_PLATFORM_LIBS)
endif()
