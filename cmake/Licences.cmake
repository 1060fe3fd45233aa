# Whose work is in what is installed: one table, from which the copyright file of each package and the list of components
# (SPDX 2.3, JSON) are written.

# Name, licence (SPDX), how it gets in, in which packages, pkg-config module or "", shared libraries or "-", copyright.
# `inside` is compiled or linked in, `beside` is a shared library of the machine.
set(tw_components
  "Highway|Apache-2.0|inside|runtime,dev,frei0r,openfx,obs,clib,python|libhwy|libhwy|2019-2022 Google LLC"
  "CLI11|BSD-3-Clause|inside|runtime|CLI11|-|2017-2022 University of Cincinnati, developed by Henry Schreiner"
  "Boost|BSL-1.0|inside|runtime||-|2003-2020 Christopher M. Kohlhoff, Vinnie Falco and the Boost authors"
  "JSON for Modern C++|MIT|inside|runtime,clib,python|nlohmann_json|-|2013-2022 Niels Lohmann"
  "LAPACK|BSD-3-Clause|inside|frei0r,openfx,obs|lapack|liblapack|1992-2022 The University of Tennessee, The University of California Berkeley and The University of Colorado Denver"
  "BLAS|BSD-3-Clause|inside|frei0r,openfx,obs|blas|libblas|1992-2022 The University of Tennessee"
  "GNU C++ library|GPL-3.0-or-later WITH GCC-exception-3.1|inside|openfx||libstdc++,libgcc_s|1997-2022 Free Software Foundation, Inc."
  "pybind11|BSD-3-Clause|inside|python||-|2016-2022 Wenzel Jakob"
  "frei0r.h|GPL-2.0-or-later|inside|frei0r|frei0r|-|2004-2022 the frei0r team"
  "libobs|GPL-2.0-or-later|beside|obs|libobs|libobs|2013-2023 Lain Bailey and the OBS Studio contributors"
  "FFmpeg|GPL-2.0-or-later|beside|runtime,clib,python|libavcodec|libavformat,libavcodec,libavfilter,libavutil,libswscale,libswresample|2000-2024 the FFmpeg developers"
  "Little CMS|MIT|beside|runtime,clib,python|lcms2|liblcms2|1998-2023 Marti Maria Saguer"
  "libheif|LGPL-3.0-or-later|beside|runtime,clib,python|libheif|libheif|2017-2023 Dirk Farin and the libheif contributors"
  "libwebp|BSD-3-Clause|beside|runtime,clib,python|libwebpdemux|libwebpdemux,libwebp|2010-2022 Google Inc."
  "Pango|LGPL-2.0-or-later|beside|runtime,clib,python|pangoft2|libpangoft2-1.0,libpango-1.0|1999-2022 the Pango authors"
  "GLib|LGPL-2.1-or-later|beside|runtime,clib,python|glib-2.0|libglib-2.0,libgobject-2.0|1995-2022 the GLib authors"
  "HarfBuzz|MIT|beside|runtime,clib,python|harfbuzz|libharfbuzz|2004-2022 the HarfBuzz authors"
  "FreeType|FTL|beside|runtime,clib,python|freetype2|libfreetype|1996-2022 the FreeType project"
  "fontconfig|HPND|beside|runtime,clib,python|fontconfig|libfontconfig|2000-2022 the fontconfig authors"
  "fmt|MIT|beside|runtime,clib,python|fmt|libfmt|2012-2022 Victor Zverovich"
  "GNU C library|LGPL-2.1-or-later|beside|runtime,frei0r,openfx,obs,clib,python||libc,libm,libdl,libpthread,ld-linux-x86-64,ld-linux-aarch64|1991-2022 Free Software Foundation, Inc.")
set(tw_whole_licence "MIT")  # of what this project wrote

# Licence names of Debian's copyright format, and their texts.
set(tw_debian_MIT Expat)
set(tw_debian_BSD-3-Clause BSD-3-clause)
set(tw_debian_Apache-2.0 Apache-2.0)
set(tw_debian_BSL-1.0 BSL-1.0)
set(tw_debian_GPL-2.0-or-later GPL-2+)
set(tw_debian_GPL-3.0-or-later GPL-3+)
file(READ "${PROJECT_SOURCE_DIR}/LICENSE" tw_text_Expat)
string(REGEX REPLACE "^.*(Permission is hereby)" "\\1" tw_text_Expat "${tw_text_Expat}")
file(READ "${CMAKE_CURRENT_LIST_DIR}/packaging/BSD-3-clause.txt" tw_text_BSD-3-clause)
file(READ "${CMAKE_CURRENT_LIST_DIR}/packaging/BSL-1.0.txt" tw_text_BSL-1.0)
set(tw_text_Apache-2.0 "The text is in /usr/share/common-licenses/Apache-2.0.\n")
set(tw_text_GPL-2+ "The text of version 2 is in /usr/share/common-licenses/GPL-2.\n")
set(tw_text_GPL-3+ "The text of version 3 is in /usr/share/common-licenses/GPL-3. The GCC Runtime Library Exception, version 3.1,\npermits programs under any terms to contain what the compiler puts into them.\n")

# indented(OUT TEXT): as the continuation lines of a Debian control field.
function(indented out text)
  string(REGEX REPLACE "\n+$" "" text "${text}")
  string(REPLACE "\n\n" "\n.\n" text "${text}")
  string(REPLACE "\n" "\n " text "${text}")
  set(${out} " ${text}\n" PARENT_SCOPE)
endfunction()

# tw_copyright(COMPONENT PACKAGE): share/doc/PACKAGE/copyright and changelog.gz.
function(tw_copyright component package)
  set(comment "The program runs with the FFmpeg libraries that are installed. Debian builds them under the GNU General Public\nLicence, version 2 or later; program and libraries together are therefore distributed under its terms. This project's own\nfiles stay under the MIT (Expat) licence.")
  if(component STREQUAL "frei0r")
    set(comment "The plug-ins include frei0r.h and are therefore distributed under the GNU General Public Licence, version 2 or\nlater. This project's own files stay under the MIT (Expat) licence.")
  elseif(component STREQUAL "obs")
    set(comment "The module includes the headers of libobs and is therefore distributed under the GNU General Public Licence, version 2\nor later. This project's own files stay under the MIT (Expat) licence.")
  elseif(NOT component MATCHES "^(runtime|clib|python)$")
    set(comment "This project's own files are under the MIT (Expat) licence.")
  endif()
  indented(comment "${comment}")
  set(text "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\nUpstream-Name: tumblewash\nComment:\n${comment}\nFiles: *\nCopyright: 2026 the tumblewash developers\nLicense: Expat\n")
  set(licences Expat)
  foreach(row ${tw_components})
    string(REPLACE "|" ";" row "${row}")
    list(GET row 0 name)
    list(GET row 1 licence)
    list(GET row 2 how)
    list(GET row 3 where)
    list(GET row 6 copyright)
    string(REPLACE "," ";" where "${where}")
    if(how STREQUAL "inside" AND component IN_LIST where)
      string(REGEX REPLACE " WITH .*" "" licence "${licence}")
      set(debian ${tw_debian_${licence}})
      string(MAKE_C_IDENTIFIER "${name}" files)
      string(APPEND text "\nFiles: compiled-in/${files}/*\nCopyright: ${copyright}\nLicense: ${debian}\nComment: ${name}, parts of which are compiled or linked in.\n")
      list(APPEND licences ${debian})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES licences)
  foreach(licence ${licences})
    indented(body "${tw_text_${licence}}")
    string(APPEND text "\nLicense: ${licence}\n${body}")
  endforeach()
  set(folder "${PROJECT_BINARY_DIR}/packaging/${package}")
  file(CONFIGURE OUTPUT "${folder}/copyright" CONTENT "${text}" @ONLY)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/packaging/changelog.in" "${folder}/changelog" @ONLY)
  execute_process(COMMAND gzip -9n -c "${folder}/changelog" OUTPUT_FILE "${folder}/changelog.gz" COMMAND_ERROR_IS_FATAL ANY)
  install(FILES "${folder}/copyright" "${folder}/changelog.gz"
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}" COMPONENT ${component})
endfunction()

# tw_component_list(COMPONENT PACKAGE): share/doc/PACKAGE/PACKAGE.spdx.json. Nothing in it depends on when or where it was made.
function(tw_component_list component package)
  set(id "SPDXRef-${package}")
  set(packages "    {\"SPDXID\": \"${id}\", \"name\": \"${package}\", \"versionInfo\": \"${PROJECT_VERSION}\", \"supplier\": \"Organization: the tumblewash developers\", \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false, \"licenseConcluded\": \"NOASSERTION\", \"licenseDeclared\": \"${tw_whole_licence}\", \"copyrightText\": \"2026 the tumblewash developers\"}")
  set(relations "    {\"spdxElementId\": \"SPDXRef-DOCUMENT\", \"relationshipType\": \"DESCRIBES\", \"relatedSpdxElement\": \"${id}\"}")
  foreach(row ${tw_components})
    string(REPLACE "|" ";" row "${row}")
    list(GET row 0 name)
    list(GET row 1 licence)
    list(GET row 2 how)
    list(GET row 3 where)
    list(GET row 4 module)
    list(GET row 5 libraries)
    list(GET row 6 copyright)
    string(REPLACE "," ";" where "${where}")
    # What one package brings along inside, the others have beside them.
    if(NOT component IN_LIST where AND NOT (name MATCHES "LAPACK|BLAS|GNU C\\+\\+ library" AND NOT component STREQUAL "openfx"))
      continue()
    endif()
    if(NOT component IN_LIST where OR (name STREQUAL "Highway" AND NOT component MATCHES "^(frei0r|openfx|obs)$"))
      set(how beside)
    endif()
    set(version "NOASSERTION")
    if(module)
      execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --modversion ${module} OUTPUT_VARIABLE found
        OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
      if(found)
        set(version "${found}")
      endif()
    endif()
    string(MAKE_C_IDENTIFIER "${name}" part)
    string(REPLACE "_" "-" part "SPDXRef-${part}")
    set(relation DYNAMIC_LINK)
    if(how STREQUAL "inside")
      set(relation CONTAINS)
    endif()
    string(REPLACE "," ", " libraries "${libraries}")
    string(APPEND packages ",\n    {\"SPDXID\": \"${part}\", \"name\": \"${name}\", \"versionInfo\": \"${version}\", \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false, \"licenseConcluded\": \"NOASSERTION\", \"licenseDeclared\": \"${licence}\", \"copyrightText\": \"${copyright}\", \"comment\": \"libraries: ${libraries}\"}")
    string(APPEND relations ",\n    {\"spdxElementId\": \"${id}\", \"relationshipType\": \"${relation}\", \"relatedSpdxElement\": \"${part}\"}")
  endforeach()
  set(file "${PROJECT_BINARY_DIR}/packaging/${package}/${package}.spdx.json")
  file(CONFIGURE OUTPUT "${file}" @ONLY CONTENT "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"${package}-${PROJECT_VERSION}\",
  \"documentNamespace\": \"https://tumblewash.invalid/spdx/${package}-${PROJECT_VERSION}\",
  \"creationInfo\": {\"created\": \"2026-11-20T12:00:00Z\", \"creators\": [\"Organization: the tumblewash developers\"]},
  \"packages\": [
${packages}
  ],
  \"relationships\": [
${relations}
  ]
}
")
  install(FILES "${file}" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}" COMPONENT ${component})
endfunction()
