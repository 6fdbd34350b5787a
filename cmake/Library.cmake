# libKVBase.so. A source file belongs to it by lying in Sources/<Subsystem>; nothing has to be listed.
file(GLOB_RECURSE kvbase_sources CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/Sources/Diagnostics/*.cpp ${PROJECT_SOURCE_DIR}/Sources/Threads/*.cpp
     ${PROJECT_SOURCE_DIR}/Sources/Files/*.cpp ${PROJECT_SOURCE_DIR}/Sources/Imaging/*.cpp
     ${PROJECT_SOURCE_DIR}/Sources/Text/*.cpp ${PROJECT_SOURCE_DIR}/Sources/Network/*.cpp
     ${PROJECT_SOURCE_DIR}/Sources/Platform/*.cpp)
file(GLOB_RECURSE kvbase_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Headers/*.h
     ${PROJECT_SOURCE_DIR}/Sources/*.h)
list(FILTER kvbase_sources EXCLUDE REGEX "/Sources/Companions/")
list(FILTER kvbase_headers EXCLUDE REGEX "/Sources/Companions/")

# The header that includes all others is written from the folder's contents, so that none is forgotten.
file(GLOB public_headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/Headers
     ${PROJECT_SOURCE_DIR}/Headers/KVBase/*.h ${PROJECT_SOURCE_DIR}/Headers/KVBase/Platform/*.h)
set(umbrella "/// Includes every public header of the library.\n#pragma once\n")
foreach(header IN LISTS public_headers)
  string(APPEND umbrella "#include <${header}>\n")
endforeach()
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/include/KVBase/KVBase.h CONTENT "${umbrella}")

# A second reader of property lists, which the tests and the benchmarks compare ours with.
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(HWY REQUIRED IMPORTED_TARGET libhwy)
# It is opened at the first use of a kernel: linking it would cost every program that starts.
set_target_properties(PkgConfig::HWY PROPERTIES INTERFACE_LINK_LIBRARIES "")
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-i18n icu-uc)
pkg_check_modules(PCI REQUIRED IMPORTED_TARGET libpci)

add_library(KVBase SHARED ${kvbase_sources} ${kvbase_headers})
add_library(KVBase::KVBase ALIAS KVBase)
set_target_properties(KVBase PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(KVBase
  PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/Headers> $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
         $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
  PRIVATE ${PROJECT_SOURCE_DIR}/Sources ${PROJECT_SOURCE_DIR})
target_link_libraries(KVBase PUBLIC Qt6::Core Qt6::Gui
                      PRIVATE PkgConfig::HWY PkgConfig::ICU PkgConfig::PCI Threads::Threads dl)
# libcurl is opened at the first post: linking it would cost every program that starts.
target_include_directories(KVBase PRIVATE ${CURL_INCLUDE_DIRS})
# Release builds report a failed assertion and go on.
target_compile_definitions(KVBase PRIVATE $<$<NOT:$<CONFIG:Debug>>:NS_BLOCK_ASSERTIONS>)
# Kernels: sizeless vectors are not supported; under a sanitizer, which slows compiling, two instruction sets do.
set(disabled_targets "HWY_RVV|HWY_SVE|HWY_SVE2|HWY_SVE_256|HWY_SVE2_128")
if(KVBASE_SANITIZER)
  string(APPEND disabled_targets "|HWY_SSSE3|HWY_SSE4|HWY_AVX3")
endif()
target_compile_definitions(KVBase PRIVATE "HWY_DISABLED_TARGETS=(${disabled_targets})")
target_link_options(KVBase PRIVATE $<$<STREQUAL:${KVBASE_SANITIZER},>:LINKER:--no-undefined>)

file(GLOB_RECURSE resource_files CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/Resources
     ${PROJECT_SOURCE_DIR}/Resources/*)
if(resource_files)
  list(TRANSFORM resource_files PREPEND ${PROJECT_SOURCE_DIR}/Resources/ OUTPUT_VARIABLE resource_paths)
  qt_add_resources(KVBase "kvbase_bundle" PREFIX "/KVBase" BASE ${PROJECT_SOURCE_DIR}/Resources FILES ${resource_paths})
endif()

# What needs Widgets, the filter classes or the desktop's message bus is loaded when an application has a use for it.
# The companion for the desktop's address book is left out where Qt's part for the bus is not installed.
file(GLOB companions CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/Sources/Companions
     ${PROJECT_SOURCE_DIR}/Sources/Companions/*)
if(NOT TARGET Qt6::DBus)
  list(REMOVE_ITEM companions DesktopAddressBook)
endif()
set(companion_targets "")
foreach(companion IN LISTS companions)
  file(GLOB companion_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Sources/Companions/${companion}/*.cpp
       ${PROJECT_SOURCE_DIR}/Sources/Companions/${companion}/*.h)
  if(companion_sources)
    add_library(KVBase${companion} MODULE ${companion_sources})
    target_include_directories(KVBase${companion} PRIVATE ${PROJECT_SOURCE_DIR}/Sources)
    if(companion STREQUAL "DesktopAddressBook")
      target_link_libraries(KVBase${companion} PRIVATE KVBase Qt6::DBus)
    else()
      target_link_libraries(KVBase${companion} PRIVATE KVBase Qt6::Widgets)
    endif()
    list(APPEND companion_targets KVBase${companion})
  endif()
endforeach()
