#include "tools/melnar-dict-mpi/Ranks.h"

#include "tools/melnar-dict-mpi/MPIRequest.h"

#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/shell/PrintableText.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <new>

namespace {

int toInt(const uint64_t number) noexcept {
    return static_cast<int>(number); // of ranks, or of small records
}

void tell(const std::string& message) {
    std::cerr << "melnar-dict-mpi: " + toPrintableLines(message) + '\n';
}

} // namespace

Ranks::Ranks(int& argumentCount, char**& arguments) {
    int provided = 0;
    MPI_Init_thread(&argumentCount, &arguments, MPI_THREAD_FUNNELED, &provided);
    int rank = 0;
    int number = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &number);
    m_rank = static_cast<uint32_t>(rank);
    m_number = static_cast<uint32_t>(number);
    MPI_Comm machine;
    MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, 0, MPI_INFO_NULL, &machine);
    int numberOnThisMachine = 1;
    MPI_Comm_size(machine, &numberOnThisMachine);
    MPI_Comm_free(&machine);
    m_numberOnThisMachine = static_cast<uint32_t>(numberOnThisMachine);
    char name[MPI_MAX_PROCESSOR_NAME] = "";
    int length = 0;
    MPI_Get_processor_name(name, &length);
    m_name = "rank " + std::to_string(m_rank) + " on " + std::string(name, static_cast<size_t>(length));
}

Ranks::~Ranks() {
    MPI_Finalize();
}

std::string Ranks::broadcast(std::string bytes, const uint32_t from) const {
    uint64_t size = bytes.size();
    MPI_Request request;
    MPI_Ibcast(&size, 1, MPI_UINT64_T, toInt(from), MPI_COMM_WORLD, &request);
    waitFor(request);
    bytes.resize(size);
    constexpr size_t STEP = size_t(1) << 30;
    for (size_t begin = 0; begin < size; begin += STEP) {
        MPI_Ibcast(bytes.data() + begin, toInt(std::min<uint64_t>(STEP, size - begin)), MPI_BYTE, toInt(from),
                   MPI_COMM_WORLD, &request);
        waitFor(request);
    }
    return bytes;
}

/// Sends one rank after the other, so that the first one has the bytes of all only once.
std::vector<std::string> Ranks::gather(const std::string& bytes) const {
    std::vector<std::string> all;
    for (uint32_t rank = 0; rank < m_number; ++rank) {
        std::string one = broadcast(rank == m_rank ? bytes : std::string(), rank);
        if (isFirst())
            all.push_back(std::move(one));
    }
    return all;
}

void Ranks::gatherAll(const void* const value, void* const values, const size_t numberOfBytes) const {
    MPI_Request request;
    MPI_Iallgather(value, toInt(numberOfBytes), MPI_BYTE, values, toInt(numberOfBytes), MPI_BYTE, MPI_COMM_WORLD,
                   &request);
    waitFor(request);
}

/// With one rank there is nothing to distinguish, and a wrong command line is wrong on all.
std::string Ranks::nameRankIn(const InputError& error) const {
    return m_number == 1 || (isFirst() && error.m_exitCode == ExitCode::USAGE) ? error.m_cause
                                                                               : m_name + ": " + error.m_cause;
}

ExitCode Ranks::tellCurrentException() const noexcept {
    try {
        const InputError error = inputErrorOfCurrentException();
        tell(nameRankIn(error));
        return error.m_exitCode;
    } catch (const std::bad_alloc&) { // There is not even memory for the message.
        std::cerr << "melnar-dict-mpi: " << m_name << ": out of memory\n";
        return ExitCode::FAILURE;
    }
}

void Ranks::perform(const std::function<void()>& action) const {
    InputError error{0, ExitCode::DONE, {}};
    try {
        action();
    } catch (...) {
        error = inputErrorOfCurrentException();
    }
    const std::vector<ExitCode> exitCodes = gatherAll(error.m_exitCode);
    const auto worst = std::ranges::max_element(exitCodes);
    if (*worst == ExitCode::DONE)
        return;
    const std::vector<std::string> causes = gather(error.m_cause);
    const std::vector<std::string> namedCauses = gather(nameRankIn(error));
    for (auto cause = causes.begin(); cause != causes.end(); ++cause)
        if (!cause->empty() && std::find(causes.begin(), cause, *cause) == cause)
            tell(namedCauses[static_cast<size_t>(cause - causes.begin())]);
    throw RankEnd{*worst, isFirst() ? namedCauses[static_cast<size_t>(worst - exitCodes.begin())] : ""};
}

void Ranks::abort(const ExitCode exitCode) {
    MPI_Abort(MPI_COMM_WORLD, static_cast<int>(exitCode));
    std::terminate(); // never reached
}
