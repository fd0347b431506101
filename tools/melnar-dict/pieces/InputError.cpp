#include "tools/melnar-dict/pieces/InputError.h"

#include "tools/melnar-dict/shell/MemoryLimit.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

namespace {

/// Returns the cause for people, and the kind.
std::pair<std::string, FailureKind> causeOfCurrentException() {
    const auto outOfMemory = [] { return std::pair(MemoryLimit::describeFailure(), FailureKind::MEMORY); };
    try {
        throw;
    } catch (const MemoryExhaustedException&) {
        return outOfMemory();
    } catch (const SystemCallException& exception) {
        return exception.getErrorCode() == ENOMEM ? outOfMemory()
                                                  : std::pair(exception.getMessage(), exception.getKind());
    } catch (const MelnarException& exception) {
        return {exception.getMessage(), exception.getKind()};
    } catch (const std::bad_alloc&) {
        return outOfMemory();
    } catch (const std::exception& exception) {
        return {exception.what(), FailureKind::OTHER};
    }
}

} // namespace

InputError inputErrorOfCurrentException() {
    try {
        throw;
    } catch (const ToolFailure& failure) {
        return {0, failure.getExitCode(), failure.what()};
    } catch (...) {
        auto [cause, kind] = causeOfCurrentException();
        InputError error{0, ExitCode::FAILURE, std::move(cause)};
        error.m_kind = kind;
        return error;
    }
}
