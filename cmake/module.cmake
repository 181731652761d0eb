# hotspot.so: the plug-in module. Its undefined symbols are the host's; they are resolved when the host
# loads it.

set(HOTSPOT_MODULE_SOURCES
  servlet/hsrv.cc
  servlet/serve.cc
  servlet/params.cc
  servlet/cookies.cc
  servlet/debug_out.cc
  vars/config_vars.cc
  vars/counter_vars.cc
  vars/env_writer.cc
  vars/param_lookup.cc
  vars/server_vars.cc
  vars/session_vars.cc
  template/directive.cc
  template/format.cc
  template/page_files.cc
  template/use_env.cc
  template/var_index.cc
  template/var_val.cc
  template/escape.cc
  commands/advert.cc
  commands/exchange.cc
  commands/login.cc
  commands/session.cc)

# The objects are built once; the module and the tests that look inside it link the same ones.
add_library(hotspot-objects OBJECT ${HOTSPOT_MODULE_SOURCES})
hotspot_flags(hotspot-objects)
set_target_properties(hotspot-objects PROPERTIES POSITION_INDEPENDENT_CODE ON)

add_library(hotspot MODULE)
hotspot_flags(hotspot)
target_link_libraries(hotspot PRIVATE hotspot-objects)
set_target_properties(hotspot PROPERTIES
  PREFIX "" LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/hotspot.map)
target_link_options(hotspot PRIVATE
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/hotspot.map)

# What the module would take of a router's flash: optimised for size and stripped.
add_library(hotspot-small MODULE EXCLUDE_FROM_ALL ${HOTSPOT_MODULE_SOURCES})
hotspot_flags(hotspot-small)
target_compile_options(hotspot-small PRIVATE -Os)
set_target_properties(hotspot-small PROPERTIES PREFIX "")
target_link_options(hotspot-small PRIVATE
  -s -Wl,--gc-sections -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/hotspot.map)
add_custom_target(module-size
  COMMAND ${CMAKE_COMMAND} -DFILE=$<TARGET_FILE:hotspot-small> -P ${PROJECT_SOURCE_DIR}/cmake/print_size.cmake
  DEPENDS hotspot-small VERBATIM)
