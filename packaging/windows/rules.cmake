# How the DLL differs from a shared object: its name, its exports, what it imports, and its import libraries.

# The exports are the names that the header declares; one of them is a second name of another.
file(STRINGS include/qxpixlib.h declarations REGEX "^QX_API ")
set(exports "LIBRARY qxpixlib.dll\nEXPORTS\n")
foreach(declaration IN LISTS declarations)
  string(REGEX MATCH "qx_[A-Za-z0-9_]+" name "${declaration}")
  if(name STREQUAL "qx_r210argb")
    set(name "qx_r210argb = qx_pixinit")
  endif()
  string(APPEND exports "    ${name}\n")
endforeach()
set(def_file ${PROJECT_BINARY_DIR}/qxpixlib.def)
file(CONFIGURE OUTPUT ${def_file} CONTENT "${exports}" NEWLINE_STYLE WIN32)
configure_file(packaging/windows/version.rc.in version.rc @ONLY)

target_sources(qxpixlib PRIVATE ${def_file} ${PROJECT_BINARY_DIR}/version.rc)
set_target_properties(qxpixlib PROPERTIES
  PREFIX ""
  IMPORT_PREFIX "lib"
  IMPORT_SUFFIX ".dll.a")
target_compile_options(qxpixlib_frame PRIVATE -Wno-missing-attributes)  # of an alias, which here is declared otherwise

# KERNEL32 and one C run-time, nothing else; the same bytes from every build. In 32 bits it is the run-time of the
# library's hosts, in 64 the one that every Windows has.
target_link_options(qxpixlib PRIVATE -static -s -Wl,--no-insert-timestamp)
set(dlltool_machine i386:x86-64)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(dlltool_machine i386)
  set(specs ${PROJECT_SOURCE_DIR}/packaging/windows/msvcr120.specs)
  target_link_options(qxpixlib PRIVATE -specs=${specs})
  set_target_properties(qxpixlib PROPERTIES LINK_DEPENDS ${specs})
endif()

# The import library for linkers that do not take libqxpixlib.dll.a, from the same list.
find_program(DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 REQUIRED)
add_custom_command(OUTPUT qxpixlib.lib
  COMMAND ${DLLTOOL} -m ${dlltool_machine} -d ${def_file} -D qxpixlib.dll -l qxpixlib.lib
  DEPENDS ${def_file} VERBATIM)
add_custom_target(qxpixlib_import_library ALL DEPENDS qxpixlib.lib)
install(FILES ${def_file} ${PROJECT_BINARY_DIR}/qxpixlib.lib DESTINATION ${CMAKE_INSTALL_LIBDIR})
