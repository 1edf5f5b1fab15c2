# In a build for another system than that of the build machine: the library of FlatBuffers, which is no header, from the
# sources of its Debian package as `scripts/fetch_sources libflatbuffers-dev FOLDER` puts them into a folder, under the
# name that its own package has. And nlohmann-json, which is headers alone, see BuildMachineHeaders.cmake.

set(COMMON_LOG_TRACE_FLATBUFFERS_SOURCES "${PROJECT_SOURCE_DIR}/build/sources/flatbuffers" CACHE PATH
    "Sources of FlatBuffers, in a build for another system")
set(sources "${COMMON_LOG_TRACE_FLATBUFFERS_SOURCES}/src")
if(NOT EXISTS "${sources}/idl_parser.cpp")
    message(FATAL_ERROR "No sources of FlatBuffers in ${COMMON_LOG_TRACE_FLATBUFFERS_SOURCES}: "
                        "scripts/fetch_sources libflatbuffers-dev ${COMMON_LOG_TRACE_FLATBUFFERS_SOURCES}")
endif()

# What reads schemas and JSON, and writes JSON.
add_library(flatbuffers_shared STATIC
    "${sources}/code_generators.cpp" "${sources}/idl_gen_text.cpp" "${sources}/idl_parser.cpp"
    "${sources}/reflection.cpp" "${sources}/util.cpp")
add_library(flatbuffers::flatbuffers_shared ALIAS flatbuffers_shared)
target_compile_features(flatbuffers_shared PRIVATE cxx_std_17)
set_target_properties(flatbuffers_shared PROPERTIES OUTPUT_NAME common_log_trace_flatbuffers)

add_library(nlohmann_json INTERFACE)
add_library(nlohmann_json::nlohmann_json ALIAS nlohmann_json)
