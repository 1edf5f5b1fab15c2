# The library as a shared one, in a build of its own below ${shared}, and what it shows. Without optimisation, which
# changes nothing of that and takes most of the time.

set(shared "${CMAKE_CURRENT_BINARY_DIR}/shared")
set(sharedLibrary "${shared}/private/${CMAKE_SHARED_LIBRARY_PREFIX}common_log_trace${CMAKE_SHARED_LIBRARY_SUFFIX}")
set(compilerOptions "-DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}")
if(CMAKE_CROSSCOMPILING)
    # Of the library for hosts, which is static, the tests above see as much.
    set(compilerOptions "-DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}" -DCOMMON_LOG_TRACE_HOST_LIBRARY=OFF)
    set(sharedLibrary "${shared}/bin/${CMAKE_SHARED_LIBRARY_PREFIX}common_log_trace${CMAKE_SHARED_LIBRARY_SUFFIX}")
endif()

add_test(NAME build.shared_library
         COMMAND ${CMAKE_CTEST_COMMAND} --build-and-test "${PROJECT_SOURCE_DIR}" "${shared}"
                 --build-generator "${CMAKE_GENERATOR}" --build-noclean
                 --build-options -DBUILD_SHARED_LIBS=ON ${compilerOptions}
                 -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0
                 -DCOMMON_LOG_TRACE_TESTS=OFF -DCOMMON_LOG_TRACE_BENCHMARKS=OFF -DCOMMON_LOG_TRACE_HOSTS=OFF)
set_tests_properties(build.shared_library PROPERTIES FIXTURES_SETUP sharedLibrary TIMEOUT 600)

add_test(NAME build.exported_symbols
         COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/exported_symbols_test.py" "${sharedLibrary}")
set_tests_properties(build.exported_symbols PROPERTIES FIXTURES_REQUIRED sharedLibrary)
