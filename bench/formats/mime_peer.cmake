# The message-format benchmark measures GMime on the same inputs in the same run.
if(TARGET bench_formats_mime)
  pkg_check_modules(GMIME REQUIRED gmime-3.0)
  target_include_directories(bench_formats_mime PRIVATE ${GMIME_INCLUDE_DIRS})
  target_compile_options(bench_formats_mime PRIVATE ${GMIME_CFLAGS_OTHER})
  target_link_libraries(bench_formats_mime PRIVATE ${GMIME_LIBRARIES})
endif()
