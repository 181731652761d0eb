# What `cmake --install` puts where (GNUInstallDirs). The programs find the module and the platform library beside
# themselves, so that an installed tree works wherever it lies; only these two have a place that is fixed.
include(GNUInstallDirs)
set(HOTSPOT_PRIVATE_DIR lib/hotspot)

foreach(program hotspot-web hotspot-manager hotspotctl hotspot-lint hotspot-preview hotspot-replay)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME)
    set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/../${HOTSPOT_PRIVATE_DIR}")
    file(GLOB manual ${PROJECT_SOURCE_DIR}/packaging/${program}.[18])
    string(REGEX MATCH "[18]$" section "${manual}")
    install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
  endif()
endforeach()
install(TARGETS hotspot hotspot-platform LIBRARY DESTINATION ${HOTSPOT_PRIVATE_DIR})

# For hosts of the module that others write: docs/embedding.md.
install(DIRECTORY host DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hotspot FILES_MATCHING PATTERN "*.h")
install(FILES platform/debug_stream.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hotspot/platform)
string(REGEX REPLACE "[^/]+" ".." HOTSPOT_PC_TO_PREFIX ${CMAKE_INSTALL_DATADIR}/pkgconfig)
configure_file(packaging/hotspot.pc.in packaging/hotspot.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/hotspot.pc DESTINATION ${CMAKE_INSTALL_DATADIR}/pkgconfig)

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs PATTERN "*.mjs" EXCLUDE)
install(FILES tests/tools/minimal_host.cc DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

if(HOTSPOT_PORTAL)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/share/hotspot/pages ${PROJECT_BINARY_DIR}/share/hotspot/optional-pages
    DESTINATION ${CMAKE_INSTALL_DATADIR}/hotspot)
  install(FILES packaging/settings/manager.toml packaging/settings/web.toml
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
  foreach(unit hotspot-manager hotspot-web)
    configure_file(packaging/systemd/${unit}.service.in packaging/${unit}.service @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/${unit}.service DESTINATION lib/systemd/system)
  endforeach()
endif()
