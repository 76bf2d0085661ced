# The large-letter benchmark measures GMime parsing the same file in the same run.
if(TARGET bench_store_large_letter)
  pkg_check_modules(GMIME_LARGE REQUIRED gmime-3.0)
  target_include_directories(bench_store_large_letter PRIVATE ${GMIME_LARGE_INCLUDE_DIRS})
  target_compile_options(bench_store_large_letter PRIVATE ${GMIME_LARGE_CFLAGS_OTHER})
  target_link_libraries(bench_store_large_letter PRIVATE ${GMIME_LARGE_LIBRARIES})
endif()
