# `cmake --install` and the package files by which find_package(common_log_trace) finds the result.

include(CMakePackageConfigHelpers)

set(packageFolder "${CMAKE_INSTALL_LIBDIR}/cmake/common_log_trace")

if(TARGET host)
    list(APPEND COMMON_LOG_TRACE_INSTALLED_TARGETS host)
endif()
if(TARGET flatbuffers_shared)
    list(APPEND COMMON_LOG_TRACE_INSTALLED_TARGETS flatbuffers_shared)
endif()
if(TARGET host_door)
    list(APPEND COMMON_LOG_TRACE_INSTALLED_TARGETS host_door)
endif()
install(TARGETS ${COMMON_LOG_TRACE_INSTALLED_TARGETS} EXPORT common_log_trace
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
        FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT common_log_trace NAMESPACE common_log_trace:: DESTINATION "${packageFolder}"
        FILE common_log_trace-targets.cmake)

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/common_log_trace-config.cmake.in"
    "${PROJECT_BINARY_DIR}/common_log_trace-config.cmake" INSTALL_DESTINATION "${packageFolder}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/common_log_trace-config-version.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/common_log_trace-config.cmake"
              "${PROJECT_BINARY_DIR}/common_log_trace-config-version.cmake"
        DESTINATION "${packageFolder}")
