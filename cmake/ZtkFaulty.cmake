# The library variant whose memory can be refused, and which can end its process in the midst of a
# change: for the fault tests and the fuzzers.
set(faulty_seams ${PROJECT_SOURCE_DIR}/tests/support/failing_allocation.cpp)
if(NOT WIN32)
    list(APPEND faulty_seams ${PROJECT_SOURCE_DIR}/tests/support/deadly_step_posix.cpp)
endif()
ztk_add_library(ZtkAgentLibFaulty ${faulty_seams})
target_include_directories(ZtkAgentLibFaulty PRIVATE ${PROJECT_SOURCE_DIR}/tests)
