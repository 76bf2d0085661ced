# What `cmake --install` puts in place for other projects: the layer libraries, the
# headers a user of the façade needs (the façade's header and what it includes, the
# records it takes), and a package configuration for find_package(Ravelin).
include(CMakePackageConfigHelpers)

get_property(ravelin_layers GLOBAL PROPERTY RAVELIN_LAYER_TARGETS)
install(TARGETS ${ravelin_layers} EXPORT RavelinTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

set(ravelin_public_headers
  facade/ravelin.h
  formats/mime_parser.h
  platform/db/dao.h platform/funnel.h platform/host_common.h platform/interaction.h
  packs/abpack.h packs/address_book.h
  platform/language.h platform/module1.h
  presentation/views.h
  runtime/dates.h runtime/errors.h runtime/text.h runtime/types.h runtime/value.h runtime/vbstring.h
  store/compaction_progress.h store/data_cursor.h store/delete_restore.h store/eml_export.h store/letters.h
  transport/accounts.h transport/outbox.h transport/smtp_client.h transport/smtp_reply.h transport/socket.h
  transport/tcp_socket.h
  windows/frm_compress.h)
foreach(header ${ravelin_public_headers})
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/src/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ravelin/${dir})
endforeach()

set(ravelin_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Ravelin)
install(EXPORT RavelinTargets NAMESPACE Ravelin:: DESTINATION ${ravelin_cmake_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/RavelinConfig.cmake.in
  ${PROJECT_BINARY_DIR}/RavelinConfig.cmake INSTALL_DESTINATION ${ravelin_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/RavelinConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/RavelinConfig.cmake ${PROJECT_BINARY_DIR}/RavelinConfigVersion.cmake
  DESTINATION ${ravelin_cmake_dir})
