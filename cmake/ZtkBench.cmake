# ztk_add_bench(<name> <sources>...): one benchmark program against the shipped library.
find_package(benchmark REQUIRED)

function(ztk_add_bench name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE
        ZTK::AgentLib ztk_build_flags ztk_wide_text benchmark::benchmark benchmark::benchmark_main)
endfunction()
