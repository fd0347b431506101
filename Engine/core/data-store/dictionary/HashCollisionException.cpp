#include "Engine/core/data-store/dictionary/HashCollisionException.h"

HashCollisionException::~HashCollisionException() = default;
