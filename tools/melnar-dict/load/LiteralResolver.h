#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"

class Dictionary;
class DictionaryThread;

/// Resolves the literals of a piece in the order of the file. A literal that the dictionary refuses becomes an error of
/// the piece; unless lenient, not many more are resolved then. Then brings the piece's errors into the order of the file.
///
/// Threads  Any number at once, each with a piece and a DictionaryThread of its own.
/// Errors   None: what else goes wrong becomes the last error of the piece.
void resolveLiterals(Dictionary& dictionary, DictionaryThread& thread, bool lenient, ParsedPiece& piece);
