# kaitoro_embed_text(<input> <symbol> <output.cpp>)
# Turns a text file into `extern const char kaitoro::<symbol>[]` at configure time and
# re-runs the configure step whenever the input changes.
function(kaitoro_embed_text input symbol output)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${input})
    file(READ ${input} content HEX)
    string(LENGTH "${content}" hex_len)
    set(bytes "")
    if(hex_len GREATER 0)
        string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${content}")
    endif()
    file(WRITE ${output}.tmp
        "// Generated from ${input}; do not edit.\n"
        "#include <cstddef>\n"
        "namespace kaitoro {\n"
        "extern const unsigned char ${symbol}[];\n"
        "extern const std::size_t ${symbol}_size;\n"
        "const unsigned char ${symbol}[] = {${bytes} 0};\n"
        "const std::size_t ${symbol}_size = sizeof(${symbol}) - 1;\n"
        "}\n")
    file(COPY_FILE ${output}.tmp ${output} ONLY_IF_DIFFERENT)
endfunction()
