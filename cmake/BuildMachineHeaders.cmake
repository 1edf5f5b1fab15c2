# For a build for another system than that of the build machine: the build machine's libraries that are headers alone,
# each by a link in a folder of its own. What else lies beside them is for the build machine only.

set(buildMachineHeaders "${PROJECT_BINARY_DIR}/build_machine")
foreach(library boost flatbuffers nlohmann CLI)
    find_path(folderOf_${library} NAMES ${library} PATHS /usr/local/include /usr/include REQUIRED NO_DEFAULT_PATH
              NO_CMAKE_FIND_ROOT_PATH)
    file(MAKE_DIRECTORY "${buildMachineHeaders}/include")
    file(CREATE_LINK "${folderOf_${library}}/${library}" "${buildMachineHeaders}/include/${library}" SYMBOLIC)
endforeach()
list(APPEND CMAKE_FIND_ROOT_PATH "${buildMachineHeaders}")
include_directories(SYSTEM "${buildMachineHeaders}/include")
