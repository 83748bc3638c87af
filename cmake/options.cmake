# Compiler settings, by what they are for.

set(QZ_WARNINGS -Wall -Wextra -Wconversion -Wshadow -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # Where a bounded print cuts a text, that is what it is there for.
  list(APPEND QZ_WARNINGS -Wno-format-truncation)
  # gcc 12 sees overlaps in its own std::string that are not there.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()

if(QZ_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(QZ_SANITIZE_THREADS)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
if(MINGW)
  # C99 printf rules: the old runtime's vsnprintf leaves no terminator when the text is cut.
  add_compile_definitions(__USE_MINGW_ANSI_STDIO=1 WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0501)
endif()

# Floating point is true double precision on both platforms, so that the boundaries of progress reports do not
# depend on the precision that the host has set for the x87 unit. Callers align the stack to 4 bytes only.
set(QZ_FLOATING_POINT "")
if(MINGW)
  set(QZ_FLOATING_POINT -msse2 -mfpmath=sse -mstackrealign)
endif()

# The library throws nothing and lets nothing through, so it needs no tables of its frames: an eighth of qz.dll.
set(QZ_UNWIND_TABLES "")
if(MINGW)
  set(QZ_UNWIND_TABLES -fno-asynchronous-unwind-tables -fno-unwind-tables)
endif()

function(qz_library_options target)
  target_compile_options(${target} PRIVATE ${QZ_WARNINGS} ${QZ_FLOATING_POINT} ${QZ_UNWIND_TABLES}
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
endfunction()

function(qz_shared_options target)
  if(MINGW)
    set_target_properties(${target} PROPERTIES PREFIX "" IMPORT_PREFIX "lib")
    target_link_options(${target} PRIVATE -static -static-libgcc -static-libstdc++)
    enable_language(RC)
    configure_file(${CMAKE_SOURCE_DIR}/cmake/qz.rc.in ${CMAKE_BINARY_DIR}/qz.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_BINARY_DIR}/qz.rc)
  else()
    set_target_properties(${target} PROPERTIES SOVERSION ${PROJECT_VERSION_MAJOR} VERSION ${PROJECT_VERSION})
    if(NOT QZ_SANITIZE AND NOT QZ_SANITIZE_THREADS)
      # Nothing of the C++ runtime is exported again, and nothing is left to be found later.
      target_link_options(${target} PRIVATE -Wl,--exclude-libs,ALL -Wl,-z,defs)
    endif()
  endif()
endfunction()

function(qz_tool_options target)
  target_compile_options(${target} PRIVATE ${QZ_WARNINGS})
  if(MINGW)
    target_link_options(${target} PRIVATE -static -static-libgcc -static-libstdc++)
  else()
    file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(${target} PROPERTIES BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN/${libraries}")
  endif()
endfunction()

function(qz_test_options target)
  # Where files of tests are compiled as one, what one of them has for all of its own shadows nothing.
  target_compile_options(${target} PRIVATE -Wall -Wextra $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow> -Werror)
  if(MINGW)
    target_link_options(${target} PRIVATE -static -static-libgcc -static-libstdc++)
  endif()
endfunction()
