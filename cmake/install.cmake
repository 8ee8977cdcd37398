# Filters live where CUPS looks for them; cups-config knows that place, the default is Debian's.
find_program(CUPS_CONFIG cups-config)
set(cups_serverbin lib/cups)
if(CUPS_CONFIG)
  execute_process(COMMAND ${CUPS_CONFIG} --serverbin OUTPUT_VARIABLE serverbin
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(REGEX REPLACE "^/usr/" "" cups_serverbin "${serverbin}")
endif()
set(K905_CUPS_SERVERBIN ${cups_serverbin} CACHE STRING
    "CUPS' folder of filters and backends, relative to the prefix")

# CUPS refuses to run a filter that anybody but its owner can write to.
set(program_permissions OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                        WORLD_READ WORLD_EXECUTE)
install(TARGETS rastertok905 RUNTIME DESTINATION ${K905_CUPS_SERVERBIN}/filter
        PERMISSIONS ${program_permissions})
