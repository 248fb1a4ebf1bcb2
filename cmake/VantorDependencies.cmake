# Every dependency is a Debian package (scripts/install-deps.sh). The Windows build has no
# Debian libraries for its target, so header-only libraries are copied into the build tree
# (pointing mingw at /usr/include would pull in glibc's headers) and GoogleTest and the gSOAP
# runtime are compiled from source.
find_package(Threads REQUIRED)

set(VANTOR_HOST_INCLUDE ${CMAKE_BINARY_DIR}/host-headers)
foreach(dir nlohmann rapidjson CLI)
  if(EXISTS /usr/include/${dir} AND NOT EXISTS ${VANTOR_HOST_INCLUDE}/${dir})
    file(COPY /usr/include/${dir} DESTINATION ${VANTOR_HOST_INCLUDE})
  endif()
endforeach()
add_library(vantor_json INTERFACE)
target_include_directories(vantor_json SYSTEM INTERFACE ${VANTOR_HOST_INCLUDE})
add_library(vantor_cli INTERFACE)
target_include_directories(vantor_cli SYSTEM INTERFACE ${VANTOR_HOST_INCLUDE})

# gSOAP: soapcpp2 always runs on the build machine; the runtime is Debian's library natively
# and its source (fetched by install-deps.sh, same version as soapcpp2) for Windows.
find_program(VANTOR_SOAPCPP2 soapcpp2 PATHS /usr/bin NO_CMAKE_FIND_ROOT_PATH REQUIRED)
set(VANTOR_GSOAP_SRC ${CMAKE_SOURCE_DIR}/third_party/gsoap-src)
if(WIN32)
  add_library(vantor_gsoap STATIC ${VANTOR_GSOAP_SRC}/stdsoap2.cpp)
  target_include_directories(vantor_gsoap SYSTEM PUBLIC ${VANTOR_GSOAP_SRC})
  target_link_libraries(vantor_gsoap PUBLIC ws2_32)
  target_compile_options(vantor_gsoap PRIVATE -w)
  set_source_files_properties(${VANTOR_GSOAP_SRC}/stdsoap2.cpp PROPERTIES LANGUAGE CXX)
  set(VANTOR_GSOAP_IMPORT_DIR ${VANTOR_GSOAP_SRC})
else()
  add_library(vantor_gsoap INTERFACE)
  target_link_libraries(vantor_gsoap INTERFACE gsoap++)
  set(VANTOR_GSOAP_IMPORT_DIR /usr/share/gsoap/import)
endif()

if(WIN32)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
  find_package(OpenSSL REQUIRED)
  find_package(Poco REQUIRED COMPONENTS Foundation Net NetSSL Crypto Util JSON)
  if(VANTOR_BENCH)
    find_package(benchmark REQUIRED)
  endif()
endif()
