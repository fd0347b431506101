#pragma once

#include <string>
#include <vector>

/// Each contains something that looks like the end of a statement but is not, or something that changes the meaning of
/// the following text.
inline const std::vector<std::string> TURTLE_TEXTS{
    "@prefix : <u:> .\n:s :p \"\"\"a .\n<u:x> <u:y> 'z' .\n\"\"\" . # c .\n:s :p 1 .\n:s :p '''\n.\n''', \"\\\"\" .\n",
    "PREFIX : <u:>\n:a :b [ :c ( 1.5 [] '''x\n. ''' ) ;\n :d 'e' ] .\n@prefix : <v:> .\n:a :b <#c.> , 1. :a :b true.\n",
    "@base <u:/x/> .\n<a.> <b> <c> .\nBASE <y/>\n<a> <b> 'c' .\nPREFIX p: <z> p:a.b p:b\\. p:c%2E .[] p:x [].\n",
    "@prefix : <u:> . :s :p :o .\n<< :s :p :o ~ :r >> :q 'a' .\n:s :p :o ~ {| :a \"b\" |} .\r\n:s :p <<( :s :p 'x' )>> "
    ".\n",
    "@prefix : <u:> .\n:a :b .\n:s :p 'un\nclosed . :c :d 1 .\n:s :p '\\q' , \"x . y\" .\n:s :p \xC3\xA4 'a' .\n:s :p "
    "2 .",
    "@prefix : <u:> .\n:s :p \xFF 'a' .\n:s :p 'b' .\n@prefix x <v:> .\n:s :p \"\"\"never . closed\n:s :p 'c' .\n",
    "\xEF\xBB\xBF@prefix : <u:> .\r:s :p '\xC3\xA4\xF0\x9F\x98\x80' . # \xC3\xA4 .\r:t :p 'a'@en .\n\n\n[ :p 'b' ] "
    ".\n]\n",
};
inline const std::vector<std::string> TRIG_TEXTS{
    "@prefix : <u:> .\n:g {\n:s :p 'a' .\n:s :p [ :p 2. ] .\n}\n{ :s :p 'b' }\nGRAPH _:h {\n:s :p 'c' .\n} [] {\n:s :p "
    "3\n}\n",
    ":g { }\n@prefix : <u:> .\n:g { :a :b 'c' .\n:x . :d :e '''f .\n}\n''' .\n}\n:g { :a :b 'd' .\n} :a :b 'e' .\n:h "
    "{\n:a :b 'f' .",
    "@prefix : <u:> .\n:g { :a :b :c {| :d 'e' |}\n} x:h { :a :b 'd' .\n }\n:a :b 'f' .\n} :a :b 'g' .\nGRAPH { :a :b "
    "'h' .\n { } }\n:a :b 1 .",
};
