# Compile flags, on targets only: hotspot_flags(target) for this project's own code.

option(HOTSPOT_WERROR "Treat warnings as errors" ON)
set(HOTSPOT_SANITIZE "" CACHE STRING "Sanitizers for every target, as in -fsanitize=: address,undefined or thread")

function(hotspot_flags target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${target} PUBLIC _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast
    # Said by version 12, wrongly, of a text put before a string, at the release's level of optimising.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-restrict>
    $<$<BOOL:${HOTSPOT_WERROR}>:-Werror>)
  if(HOTSPOT_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${HOTSPOT_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${HOTSPOT_SANITIZE})
    if(HOTSPOT_SANITIZE MATCHES "thread")
      # The thread sanitizer knows nothing of fences. Asio's are beside its mutexes, which it knows.
      target_compile_definitions(${target} PRIVATE BOOST_ASIO_DISABLE_FENCED_BLOCK)
    endif()
    if(HOTSPOT_SANITIZE MATCHES "undefined")
      target_compile_options(${target} PRIVATE -fno-sanitize-recover=undefined)
    endif()
  endif()
endfunction()
