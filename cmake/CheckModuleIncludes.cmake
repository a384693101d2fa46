# Fails when a module source includes anything of the host, the simulator or the programs.
file(GLOB_RECURSE files ${ROOT}/link/* ${ROOT}/core/* ${ROOT}/selftimed/* ${ROOT}/random/*
     ${ROOT}/formats/* ${ROOT}/ui/*)
set(bad "")
foreach(f ${files})
  file(STRINGS ${f} lines REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<](host|sim|apps|tests)/")
  foreach(l ${lines})
    string(APPEND bad "  ${f}: ${l}\n")
  endforeach()
endforeach()
if(bad)
  message(FATAL_ERROR "The module must include platform/ only:\n${bad}")
endif()
