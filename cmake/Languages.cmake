# pellora_place_languages(folder): copies the language files to `folder`, at configure time and whenever one of them
# changes. Also writes ".txt" there: English without its name, so that an empty language setting finds texts and the
# options dialog does not list English twice.
function(pellora_place_languages folder)
  set(source ${PROJECT_SOURCE_DIR}/languages)
  file(GLOB files CONFIGURE_DEPENDS ${source}/*.txt)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${files})
  file(COPY ${files} DESTINATION ${folder})
  file(READ ${source}/english.txt english)
  string(REGEX REPLACE "\nLANG=[^\n]*\n" "\n" nameless "${english}")
  file(WRITE ${folder}/.txt "${nameless}")
endfunction()
