# -Wall -Wextra on our own code; third-party headers come in as system headers. Warnings are
# errors where KORVAN_WARNINGS_AS_ERRORS is on: every preset (developers' builds and CI) turns
# it on; a plain build of the sources (a packager's, a user's) leaves it off, so a newer
# compiler's new warning does not stop the build.
function(korvan_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(KORVAN_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # GCC 12 reports false "may be used uninitialized" errors at -O2 inside std::variant moves
  # of std::map members (foundation::json::Value); the diagnostic is unreliable there.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
    # GCC 12 at -O3 (Release) reports -Wrestrict overlaps inside std::string's own copy when
    # a literal is prepended to a temporary string ("k" + std::to_string(i)), a known false
    # report of that compiler (fixed in GCC 13) about the standard library's code. Our own
    # code that tripped it in an unusual way is written plainly instead (Catalogue.cpp).
    if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
      target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
    # Under ThreadSanitizer GCC warns that Asio's atomic_thread_fence is invisible to it; Asio's
    # own synchronisation does not rely on the fence alone, so it is not an error.
    if(KORVAN_SANITIZE STREQUAL "thread")
      target_compile_options(${target} PRIVATE -Wno-tsan)
    endif()
  endif()
endfunction()

# korvan_host_area(NAME SOURCES ... [DEPS ...]): one folder of the host runtime, compiled as
# an OBJECT library whose objects libkorvanhost.so takes whole. DEPS are third-party targets
# only (Boost::json, OpenSSL::SSL, ...): all areas share host/include, and libkorvanhost.so
# links every area's DEPS publicly.
function(korvan_host_area name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(korvanhost_${name} OBJECT ${ARG_SOURCES})
  target_include_directories(korvanhost_${name} PUBLIC ${KORVAN_HOST_INCLUDE_DIR})
  target_link_libraries(korvanhost_${name} PUBLIC ${ARG_DEPS})
  target_compile_definitions(korvanhost_${name} PRIVATE KORVAN_HOST_BUILDING=1)
  korvan_warnings(korvanhost_${name})
  set_property(GLOBAL APPEND PROPERTY KORVAN_HOST_AREAS korvanhost_${name})
  set_property(GLOBAL APPEND PROPERTY KORVAN_HOST_DEPS ${ARG_DEPS})
endfunction()
