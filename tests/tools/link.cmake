# Part files are forged with the hash that rt-render checks.
if(TARGET rt-render)
  target_sources(rt_tests_tools_process PRIVATE ${PROJECT_SOURCE_DIR}/tools/render/ContentHash.cpp)
  target_include_directories(rt_tests_tools_process PRIVATE ${PROJECT_SOURCE_DIR})
endif()
