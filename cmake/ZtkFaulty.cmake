# The library variant whose memory can be refused: for the fault tests and the fuzzers.
ztk_add_library(ZtkAgentLibFaulty ${PROJECT_SOURCE_DIR}/tests/support/failing_allocation.cpp)
target_include_directories(ZtkAgentLibFaulty PRIVATE ${PROJECT_SOURCE_DIR}/tests)
