#include "tools/melnar-dict/pieces/InputError.h"

#include "Engine/core/platform/MelnarException.h"

#include <exception>
#include <new>

namespace {

std::string causeOfCurrentException() {
    try {
        throw;
    } catch (const MelnarException& exception) {
        return exception.getMessage();
    } catch (const std::bad_alloc&) {
        return "out of memory";
    } catch (const std::exception& exception) {
        return exception.what();
    }
}

} // namespace

InputError inputErrorOfCurrentException() {
    return {0, ExitCode::FAILURE, causeOfCurrentException()};
}
