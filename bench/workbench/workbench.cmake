# The workbench's benchmarks use the server itself.
if(TARGET bench_workbench_wire)
  target_link_libraries(bench_workbench_wire PRIVATE ravelin_workbench)
endif()
if(TARGET bench_workbench_main_page)
  target_link_libraries(bench_workbench_main_page PRIVATE ravelin_workbench)
endif()
