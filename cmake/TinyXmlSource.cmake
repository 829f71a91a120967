# TinyXML compiled from its source, so that instrumentation sees into it. Defines the target TinyXML::TinyXML.
set(SENSORDLL_TINYXML_SOURCE "" CACHE PATH "Folder with the source of TinyXML; empty: fetched with apt-get")

set(tinyxml_source ${SENSORDLL_TINYXML_SOURCE})
if(NOT tinyxml_source)
  set(tinyxml_source ${PROJECT_BINARY_DIR}/tinyxml-source)
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/tools/fetch-tinyxml-source ${tinyxml_source}
    RESULT_VARIABLE failure ERROR_VARIABLE message)
  if(failure)
    message(FATAL_ERROR "The source of TinyXML could not be fetched:\n${message}"
      "Unpack it by hand and configure with -DSENSORDLL_TINYXML_SOURCE=<folder>.")
  endif()
endif()
if(NOT EXISTS ${tinyxml_source}/tinyxmlparser.cpp)
  message(FATAL_ERROR "${tinyxml_source} does not hold the source of TinyXML (no tinyxmlparser.cpp).")
endif()

add_library(tinyxml_from_source STATIC
  ${tinyxml_source}/tinystr.cpp
  ${tinyxml_source}/tinyxml.cpp
  ${tinyxml_source}/tinyxmlerror.cpp
  ${tinyxml_source}/tinyxmlparser.cpp)
target_include_directories(tinyxml_from_source SYSTEM INTERFACE ${tinyxml_source})
target_compile_definitions(tinyxml_from_source PUBLIC TIXML_USE_STL)
target_compile_options(tinyxml_from_source PRIVATE -w)  # somebody else's code
add_library(TinyXML::TinyXML ALIAS tinyxml_from_source)
