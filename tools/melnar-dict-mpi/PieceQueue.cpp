#include "tools/melnar-dict-mpi/PieceQueue.h"

#include "tools/melnar-dict-mpi/WriteAt.h"

#include "tools/melnar-dict/load/ShardSpill.h"

#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict-mpi/PieceQueue";
constexpr long LINE_CANNOT_MAKE = 37;
constexpr long LINE_CANNOT_READ = 61;

FileDescriptor makeNamelessFile(const std::string& folderName) {
    std::string name = ShardSpill::getPatternOfFileAhead(folderName);
    FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC));
    if (!file.isOpen())
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_MAKE, MelnarException::NO_CAUSES, "mkostemp", errno,
                                  "Cannot create a file for input that is read ahead in '", folderName, "'.");
    ::unlink(name.c_str());
    return file;
}

void readAll(const FileDescriptor& file, std::string& bytes, const uint64_t place) {
    for (size_t read = 0; read < bytes.size();) {
        const ssize_t result =
            ::pread(file.get(), bytes.data() + read, bytes.size() - read, static_cast<off_t>(place + read));
        if (result > 0)
            read += static_cast<size_t>(result);
        else if (result == 0 || errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_READ, MelnarException::NO_CAUSES, "pread",
                                      result == 0 ? EIO : errno, "Cannot read input that was read ahead.");
    }
}

} // namespace

PieceQueue::PieceQueue(std::string folderName, const size_t numberOfColumns) : m_folderName(std::move(folderName)) {
    m_free.reserve(NUMBER_OF_PIECES);
    while (m_free.size() < NUMBER_OF_PIECES)
        m_free.push_back(std::make_unique<ReadPiece>(numberOfColumns));
}

std::unique_ptr<ReadPiece> PieceQueue::takeEmpty(const bool goesAhead) {
    std::unique_lock lock(m_mutex);
    for (;;) {
        if (m_isStopped)
            return nullptr;
        if (!m_free.empty() && (goesAhead || isFileEmpty())) {
            std::unique_ptr<ReadPiece> piece = std::move(m_free.back());
            m_free.pop_back();
            return piece;
        }
        if (goesAhead && isFileEmpty() && m_pieces.size() > m_numberOffered) {
            writeToFile(*m_pieces.back());
            m_free.push_back(std::move(m_pieces.back()));
            m_pieces.pop_back();
        } else
            m_change.wait(lock);
    }
}

void PieceQueue::push(std::unique_ptr<ReadPiece> piece) {
    {
        const std::lock_guard guard(m_mutex);
        if (isFileEmpty())
            m_pieces.push_back(std::move(piece));
        else {
            writeToFile(*piece);
            m_free.push_back(std::move(piece));
        }
    }
    m_change.notify_all();
}

void PieceQueue::end(std::exception_ptr failure) noexcept {
    {
        const std::lock_guard guard(m_mutex);
        m_isEnded = true;
        m_failure = std::move(failure);
    }
    m_change.notify_all();
}

void PieceQueue::waitForPiece() {
    std::unique_lock lock(m_mutex);
    readFromFile();
    m_change.wait(lock, [this] { return !m_pieces.empty() || m_isEnded; });
    readFromFile(); // The reading thread may have spilled the only piece since.
    if (m_pieces.empty() && m_failure != nullptr)
        std::rethrow_exception(std::exchange(m_failure, nullptr));
}

SliceFrontier::Offer PieceQueue::getOffer(const size_t largestBytes) {
    const std::lock_guard guard(m_mutex);
    readFromFile();
    SliceFrontier::Offer offer;
    size_t bytes = 0;
    for (const std::unique_ptr<ReadPiece>& piece : m_pieces) {
        bytes += piece->m_parsed.m_terms.getNumberOfBytes();
        if (offer.m_number == SliceFrontier::LARGEST_OFFER || (offer.m_number != 0 && bytes > largestBytes))
            break;
        offer.m_pieces[offer.m_number++] = piece->m_place;
    }
    m_numberOffered = offer.m_number;
    return offer;
}

std::unique_ptr<ReadPiece> PieceQueue::pop() {
    const std::lock_guard guard(m_mutex);
    std::unique_ptr<ReadPiece> piece = std::move(m_pieces.front());
    m_pieces.pop_front();
    --m_numberOffered;
    return piece;
}

void PieceQueue::giveBack(std::unique_ptr<ReadPiece> piece) noexcept {
    {
        const std::lock_guard guard(m_mutex);
        m_free.push_back(std::move(piece)); // there is space for it
    }
    m_change.notify_all();
}

void PieceQueue::stop() noexcept {
    {
        const std::lock_guard guard(m_mutex);
        m_isStopped = true;
    }
    m_change.notify_all();
}

void PieceQueue::writeToFile(const ReadPiece& piece) {
    if (!m_file.isOpen())
        m_file = makeNamelessFile(m_folderName);
    m_bytes.clear();
    piece.appendTo(m_bytes);
    writeAt(m_file, m_folderName + "/work-ahead-XXXXXX", m_bytes, m_endOfFile);
    m_sizesInFile.push_back(m_bytes.size());
    m_endOfFile += m_bytes.size();
}

/// Reads pieces from the file into memory, as far as there is space; leaves one piece to the reading thread.
void PieceQueue::readFromFile() {
    while (!isFileEmpty() && m_free.size() > 1) {
        m_bytes.resize(m_sizesInFile.front());
        readAll(m_file, m_bytes, m_beginInFile);
        std::string_view bytes = m_bytes;
        m_free.back()->take(bytes);
        m_pieces.push_back(std::move(m_free.back()));
        m_free.pop_back();
        m_beginInFile += m_bytes.size();
        m_sizesInFile.pop_front();
    }
    if (isFileEmpty() && m_endOfFile != 0) {
        m_beginInFile = m_endOfFile = 0;
        if (::ftruncate(m_file.get(), 0) != 0) { // then it keeps its space on the disk
        }
        m_change.notify_all();
    }
}
