# cmake -DDEX=FILE -DOUTPUT=FILE -P EmbedHelperDex.cmake: writes the C++ source that holds the
# clipboard helper's dex as base64 with its SHA-256.
execute_process(COMMAND base64 -w0 "${DEX}" OUTPUT_VARIABLE dex_base64 RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "could not read ${DEX}")
endif()
file(SHA256 "${DEX}" dex_sha256)
file(WRITE "${OUTPUT}.new"
     "// Generated from helper/lumivale-clip.dex by cmake/EmbedHelperDex.cmake.\n"
     "#include \"core/clipboard/clip_helper_dex.h\"\n\n"
     "namespace lumivale {\n\n"
     "const std::string_view clipHelperDexBase64 = \"${dex_base64}\";\n"
     "const std::string_view clipHelperDexSha256 = \"${dex_sha256}\";\n\n"
     "}  // namespace lumivale\n")
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.new")
