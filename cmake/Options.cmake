# What every target of this project is compiled and linked with.

set(WATCHPOST_SANITIZE "" CACHE STRING "Sanitizers for the whole build, as -fsanitize= takes them")

add_library(watchpost_options INTERFACE)
target_compile_features(watchpost_options INTERFACE cxx_std_20)
target_compile_options(
  watchpost_options
  INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -fvisibility=hidden
            -fvisibility-inlines-hidden -fstack-protector-strong -fno-omit-frame-pointer
)
target_compile_definitions(watchpost_options INTERFACE WATCHPOST_BUILD _GLIBCXX_ASSERTIONS _FILE_OFFSET_BITS=64)
target_link_options(watchpost_options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(watchpost_options INTERFACE -Werror)
endif()
if(WATCHPOST_SANITIZE)
  target_compile_options(
    watchpost_options INTERFACE -fsanitize=${WATCHPOST_SANITIZE} -fno-sanitize-recover=all
  )
  target_link_options(watchpost_options INTERFACE -fsanitize=${WATCHPOST_SANITIZE})
endif()

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
