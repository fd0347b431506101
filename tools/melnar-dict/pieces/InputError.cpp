#include "tools/melnar-dict/pieces/InputError.h"

#include "tools/melnar-dict/shell/MemoryLimit.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>
#include <exception>
#include <new>

namespace {

std::string causeOfCurrentException() {
    try {
        throw;
    } catch (const MemoryExhaustedException&) {
        return MemoryLimit::describeFailure();
    } catch (const SystemCallException& exception) {
        return exception.getErrorCode() == ENOMEM ? MemoryLimit::describeFailure() : exception.getMessage();
    } catch (const MelnarException& exception) {
        return exception.getMessage();
    } catch (const std::bad_alloc&) {
        return MemoryLimit::describeFailure();
    } catch (const std::exception& exception) {
        return exception.what();
    }
}

} // namespace

InputError inputErrorOfCurrentException() {
    try {
        throw;
    } catch (const ToolFailure& failure) {
        return {0, failure.getExitCode(), failure.what()};
    } catch (...) {
        return {0, ExitCode::FAILURE, causeOfCurrentException()};
    }
}
