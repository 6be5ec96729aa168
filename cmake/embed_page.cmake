# Writes OUTPUT, a C++ source that holds the page HTML with STYLE and SCRIPT in it, cut in two where the data stand. The
# policy in the page lets the browser use nothing but the two, which it knows by their hashes.
cmake_minimum_required(VERSION 3.22) # before, "@NAME@" is a variable

# The SHA-256 of a file in Base64: ten groups of three bytes, and one of two.
function(base64_hash file result)
  file(SHA256 ${file} hex)
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  set(text "")
  foreach(at RANGE 0 60 6)
    string(SUBSTRING ${hex}00 ${at} 6 group)
    foreach(shift 18 12 6 0)
      math(EXPR index "(0x${group} >> ${shift}) & 63")
      string(SUBSTRING ${alphabet} ${index} 1 letter)
      string(APPEND text ${letter})
    endforeach()
  endforeach()
  string(SUBSTRING ${text} 0 43 text)
  set(${result} ${text}= PARENT_SCOPE)
endfunction()

base64_hash(${STYLE} style_hash)
base64_hash(${SCRIPT} script_hash)
file(READ ${HTML} page)
file(READ ${STYLE} style)
file(READ ${SCRIPT} script)
string(REPLACE "@STYLE_HASH@" "${style_hash}" page "${page}")
string(REPLACE "@SCRIPT_HASH@" "${script_hash}" page "${page}")
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")
string(REPLACE "@DATA@" ")page\";\nconst std::string_view kPageTail = R\"page(" page "${page}")
file(WRITE ${OUTPUT}
  "#include \"cli/explain/page.h\"\n\nconst std::string_view kPageHead = R\"page(${page})page\";\n")
