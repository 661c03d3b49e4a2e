# cmake -DINPUT=FILE -DOUTPUT=FILE.cpp -DHEADER=... -DFUNCTION=... -P EmbedText.cmake: a source whose function
# quorle::FUNCTION(), declared in HEADER, returns the text of INPUT.
file(READ "${INPUT}" text)
file(WRITE "${OUTPUT}" "#include \"${HEADER}\"

namespace quorle {

std::string_view ${FUNCTION}() {
  return R\"embedded(${text})embedded\";
}

}  // namespace quorle
")
