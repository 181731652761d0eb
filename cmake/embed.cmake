# Writes OUT, a C++ source that defines each of FILES ("NAME=PATH", a list) as a std::string_view that
# HEADER declares in NAMESPACE.
set(text "#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\nnamespace {\n")
set(views "")
foreach(file ${FILES})
  string(REGEX MATCH "^([^=]+)=(.*)$" matched "${file}")
  file(READ "${CMAKE_MATCH_2}" bytes HEX)
  set(name ${CMAKE_MATCH_1})
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND text "constexpr char ${name}Bytes[] = {\n${bytes}};\n")
  string(APPEND views "const std::string_view ${name}(${name}Bytes, sizeof ${name}Bytes);\n")
endforeach()
file(WRITE "${OUT}" "${text}}  // namespace\n\n${views}\n}  // namespace ${NAMESPACE}\n")
