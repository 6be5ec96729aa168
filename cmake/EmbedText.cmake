# kestrix_embed(TARGET FILE NAME) makes the text of FILE a constant of TARGET; the header that declares it says
# "extern const std::string_view NAME;".
set(KESTRIX_EMBED_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/embedded_text.cpp.in)

function(kestrix_embed target file name)
  set(path ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
  file(READ ${path} text)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/embedded/${name}.cpp)
  configure_file(${KESTRIX_EMBED_TEMPLATE} ${source} @ONLY)
  target_sources(${target} PRIVATE ${source})
endfunction()
