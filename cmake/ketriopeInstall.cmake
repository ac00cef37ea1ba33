# What a stranger's project finds: find_package(ketriope CONFIG) and pkg-config ketriope.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ketriope)

install(TARGETS ketriope EXPORT ketriopeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ketriope)
install(EXPORT ketriopeTargets NAMESPACE ketriope:: DESTINATION ${package_dir})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ketriopeConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ketriopeConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ketriopeConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
# Found from its own place, so that a prefix may be moved.
file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_prefix ${pc_prefix})
configure_file(${CMAKE_CURRENT_LIST_DIR}/ketriope.pc.in ${PROJECT_BINARY_DIR}/ketriope.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ketriopeConfig.cmake ${PROJECT_BINARY_DIR}/ketriopeConfigVersion.cmake
  DESTINATION ${package_dir})
install(FILES ${PROJECT_BINARY_DIR}/ketriope.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The product's data, below the root that FOUNDRY names: the installation's, and the build tree's.
file(GLOB product_messages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/data/msgdata/*.xml)
set(product_data ${PROJECT_SOURCE_DIR}/data/orvsys.ini ${PROJECT_SOURCE_DIR}/data/ketriope.usg)
install(FILES ${product_messages} DESTINATION msgdata)
install(FILES ${product_data} DESTINATION data)
file(COPY ${product_messages} DESTINATION ${PROJECT_BINARY_DIR}/msgdata)
file(COPY ${product_data} DESTINATION ${PROJECT_BINARY_DIR}/data)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${product_messages} ${product_data})
