#include "Engine/core/data-store/dictionary/ColumnException.h"

ColumnException::~ColumnException() = default;
