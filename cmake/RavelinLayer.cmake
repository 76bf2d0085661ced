# ravelin_layer(NAME SOURCES file... [LINK target...])
# One static library per layer, named ravelin_<NAME>, with its sources named and its
# dependencies spelled beside them. LINK names only layers below (and outside packages):
# an include of a higher layer then fails to link, and tests/layers_test.cpp fails on it
# before that. Headers are found from src/ ("store/letters.h"); installed ones keep that form.
function(ravelin_layer name)
  cmake_parse_arguments(L "" "" "SOURCES;LINK" ${ARGN})
  set(target ravelin_${name})
  add_library(${target} STATIC ${L_SOURCES})
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ravelin>)
  target_link_libraries(${target} PUBLIC ${L_LINK})
  set_property(GLOBAL APPEND PROPERTY RAVELIN_LAYER_TARGETS ${target})
endfunction()
