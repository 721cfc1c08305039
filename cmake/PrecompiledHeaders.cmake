# Headers of others, parsed once for many sources: half of a build's time otherwise. A header of the project is never
# among them, so that a change to one compiles again what includes it and nothing else. Each source includes what it
# needs nonetheless: the presets release, lint and macos-cross compile without precompiled headers.

# Makes the target `name`, from which others take their precompiled headers:
# target_precompile_headers(<target> REUSE_FROM <name>). All of them have to be compiled with -fPIC, as the clang
# compiler refuses a precompiled header of another kind of code.
function(tovra_add_precompiled_headers name)
    cmake_parse_arguments(PARSE_ARGV 1 precompiled "" "" "LIBRARIES;HEADERS")
    # Only a target with a source can own precompiled headers.
    file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp CONTENT "")
    add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    target_link_libraries(${name} PRIVATE ${precompiled_LIBRARIES})
    target_precompile_headers(${name} PRIVATE ${precompiled_HEADERS})
    # A compiler cache must not give out those of another folder, as they name its files; and it can tell by their bytes
    # what was compiled with them if they hold no times.
    set_target_properties(${name} PROPERTIES CXX_COMPILER_LAUNCHER "")
    target_compile_options(${name} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
endfunction()

set(TOVRA_STANDARD_HEADERS
    <algorithm> <array> <atomic> <chrono> <cstdint> <filesystem> <format> <functional> <map> <memory> <mutex> <optional>
    <span> <sstream> <string> <string_view> <thread> <unordered_map> <utility> <vector>)
