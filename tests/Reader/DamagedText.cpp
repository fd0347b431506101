#include "tests/Reader/DamagedText.h"

#include <algorithm>

const std::vector<std::string> TEXTS_TO_DAMAGE{
    "<a:s> <a:p> \"\\u00E4\xC3\xA4\"@en-GB <a:g> . # \xF0\x9F\x98\x80\r\n_:b.c <a:p> <<( <a:s> <a:p> \"x\"^^<a:d> )>> "
    ".\n"
    "VERSION \"1.2\"\n<a:\\u0061><a:p>\"\"@ar--rtl.\n",
    "@prefix : <u:> . # \xC3\xA4\n@base <v:/x/> .\r\n:s a 'a', \"b\"@en--ltr ; :p 1.5, 1. :s :p true, -.5e3.\n",
    "PREFIX : <u:> [ :p :a.b ; :q (1 [] ()) ] . <<:s :p :o ~ :r>> :p <<( :s :p '''l\\n\"o\"ng''' )>> .\n"
    ":s :p :o ~ {| :a :b |} . :s :p \"\"\"a\"\"b\"\"\" . PREFIX x: <y> x:a x:b\\-c x:d%41 .\n",
    "@prefix : <u:> . { :s :p :o } :g { :s :p 1 . :s :p 2. } GRAPH _:g { :s :p <../x> } [] { :s :p :o ~ {| :a :b |} }"};

namespace {

const std::vector<std::string> PIECES{".",
                                      ";",
                                      ",",
                                      "[",
                                      "]",
                                      "(",
                                      ")",
                                      "{",
                                      "}",
                                      "{|",
                                      "|}",
                                      "<<",
                                      "<<(",
                                      ">>",
                                      ")>>",
                                      "~",
                                      "\"",
                                      "\"\"\"",
                                      "'",
                                      "'''",
                                      "\\",
                                      "\\u",
                                      "\\uD800",
                                      "@en",
                                      "@",
                                      "^^",
                                      "<",
                                      ">",
                                      ":",
                                      "_:",
                                      "#",
                                      "\n",
                                      "\r",
                                      " ",
                                      "a",
                                      "true",
                                      "1",
                                      "1.e",
                                      "-",
                                      "@prefix ",
                                      "PREFIX ",
                                      "BASE ",
                                      "%4",
                                      "\xFF",
                                      "\xC3",
                                      "\xC3\xA4",
                                      "\xED\xA0\x80",
                                      "\xEF\xBB\xBF",
                                      "GRAPH ",
                                      "x:y",
                                      "VERSION",
                                      "--",
                                      std::string(1, '\0')};

} // namespace

void damageSnippet(std::string& text, std::mt19937& random) {
    for (size_t count = 1 + random() % 4; count != 0; --count) {
        const size_t place = random() % (text.size() + 1);
        const size_t length = random() % 6;
        switch (random() % 4) {
        case 0:
            text.insert(place, PIECES[random() % PIECES.size()]);
            break;
        case 1:
            text.erase(place, length);
            break;
        case 2:
            text.replace(place, std::min(length, text.size() - place), PIECES[random() % PIECES.size()]);
            break;
        default:
            text.insert(place, text.substr(random() % (text.size() + 1), random() % 40));
        }
    }
}
