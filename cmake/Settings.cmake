# Language, warnings and sanitizers, shared by every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTORCC ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

include(GNUInstallDirs)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets OpenGL OPTIONAL_COMPONENTS DBus)
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

find_program(KVBASE_CCACHE ccache)
if(KVBASE_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KVBASE_CCACHE})
endif()

add_compile_options(-Wall -Wextra -Wconversion -Wshadow -ffp-contract=off)
add_compile_definitions(QT_NO_KEYWORDS QT_NO_URL_CAST_FROM_STRING QT_NO_CAST_FROM_BYTEARRAY)

if(KVBASE_SANITIZER STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(KVBASE_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(KVBASE_SANITIZER STREQUAL "fuzzer")
  add_compile_options(-fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
