#pragma once

/// @file
/// Everything that C++ programs need to use dictionaries and to read RDF. docs/interface.md lists the public headers;
/// those for custom hosts and datatypes are not included here.

/// @namespace melnar
/// What programs need not name; some of it is for hosts and datatypes of one's own.

/// @namespace Rdf
/// The reader of RDF, a library that does not depend on the dictionary.

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryIterator.h"
#include "Engine/core/data-store/DictionaryOptions.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/ArrowColumn.h"
#include "Engine/core/data-store/dictionary/ArrowStrings.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/dictionary/ColumnException.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/DatatypeNames.h"
#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"
#include "Engine/core/data-store/dictionary/HashCollisionException.h"
#include "Engine/core/data-store/dictionary/ResourceValue.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/data-store/terms/TermBatch.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/FailureKind.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/Version.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Reader/CanonicalWriter.h"
#include "Reader/ReaderOptions.h"
#include "Reader/StatementSink.h"
#include "Reader/StreamReader.h"
#include "Reader/SyntaxReader.h"
#include "Reader/Utf8.h"
