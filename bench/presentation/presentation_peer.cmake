# The pack report's peer reads the store straight through SQLite's C API.
if(TARGET bench_presentation_presentation)
  target_link_libraries(bench_presentation_presentation PRIVATE SQLite::SQLite3)
endif()
