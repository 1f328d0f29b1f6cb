# Built where the importer is.
if(TARGET rt_import)
  target_link_libraries(rt_tests_import PRIVATE rt_import)
endif()
