# The folders of CUPS for filters and PPD files, as cups-config reports them, or those of Debian without cups-config.
# They are stored relative to the prefix, so that tests and packages can use another prefix.
find_program(CUPS_CONFIG cups-config)
set(cups_serverbin /usr/lib/cups)
set(cups_datadir /usr/share/cups)
if(CUPS_CONFIG)
  execute_process(COMMAND ${CUPS_CONFIG} --serverbin OUTPUT_VARIABLE cups_serverbin
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${CUPS_CONFIG} --datadir OUTPUT_VARIABLE cups_datadir
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()

# CUPS never finds a filter in /usr/local, so the default prefix is that of CUPS: the longest common folder of its
# programs and its data.
string(REGEX MATCH "^(/usr/local|/usr|/opt/[^/]+)/" cups_prefix "${cups_serverbin}/")
string(REGEX REPLACE "/$" "" cups_prefix "${cups_prefix}")
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT AND cups_prefix)
  set(CMAKE_INSTALL_PREFIX ${cups_prefix} CACHE PATH "Where everything is installed" FORCE)
endif()
string(REGEX REPLACE "^${cups_prefix}/" "" cups_serverbin "${cups_serverbin}")
string(REGEX REPLACE "^${cups_prefix}/" "" cups_datadir "${cups_datadir}")
set(K905_CUPS_SERVERBIN ${cups_serverbin} CACHE STRING
    "CUPS' folder of filters and backends, relative to the prefix")
set(K905_CUPS_DATADIR ${cups_datadir} CACHE STRING
    "CUPS' folder of data, relative to the prefix")
set(K905_MODEL_FOLDER ${K905_CUPS_DATADIR}/model/k905)

