#include <System/Error/Assertion.h>
#include <System/Error/Exception.h>
#include <System/FileSystem/PrivateFile.h>
#include <System/Log/ContextRegistry.h>
#include <System/Log/LogRules.h>
#include <System/Log/Logger.h>
#include <System/Log/LoggerConfig.h>
#include <System/Log/OutputStreams.h>
#include <System/Utilities/BlockedSignals.h>

#include <algorithm>
#include <mutex>
#include <shared_mutex>
#include <system_error>
#include <utility>

namespace Tovra::System::Log {

namespace {

constexpr const char* fileIsOpen = "Log file is expected to be closed.";
constexpr const char* stateDiffers = "Internal state doesn't match file state.";

/// The logger whose lock this thread is about to take, holds, or has just released; or null. A signal's handler that
/// logs on this thread must not wait for that lock.
constinit thread_local const Logger* s_lockedLogger = nullptr;

/// Whether this thread shares that lock, and the file is open.
constinit thread_local bool s_sharesFile = false;

/// A scope around the use of a logger's lock.
class LockedLogger {
public:
    explicit LockedLogger(const Logger* logger) : m_before(std::exchange(s_lockedLogger, logger)) {}
    ~LockedLogger() { s_lockedLogger = m_before; }
    LockedLogger(const LockedLogger&) = delete;
    LockedLogger& operator=(const LockedLogger&) = delete;

private:
    const Logger* m_before;
};

} // namespace

bool Logger::Initialize(const Runtime::IConfig* config) {
    TOVRA_ASSERT(config != nullptr, "Function parameter 'config' must be non-null.");
    // Intentional: the results are not used; an object that is no configuration, or no longer one, fails here.
    config->GetTypeID();
    config->GetConfigGUID();
    const auto& settings = static_cast<const LoggerConfig&>(*config);
    m_enabledStreams = settings.m_enabledStreams;
    m_filePrefix = settings.m_filePrefix;
    m_directory = settings.m_directory;
    m_maxFileSize = std::max(settings.m_maxFileSize, lowestMaxFileSize);
    m_retentionDays = std::max(std::int64_t{settings.m_retentionDays}, lowestRetentionDays);
    m_streamSeverities = settings.m_streamSeverities;
    if (!OpenLogFile(m_file)) {
        TOVRA_THROW(Foundation, 2, "Failed to initialize log file.");
    }
    ContextRegistry::ForEachContext([this](Context& context) { ApplySeverities(context, m_streamSeverities); });
    return true;
}

void Logger::GetExecutionParameters(Runtime::SystemExecutionParameters&) {}

void Logger::OnShutdown() {
    const Utilities::BlockedSignals blocked(Utilities::BlockedSignals::Kind::AllButFaults);
    const LockedLogger locked(this);
    const std::lock_guard lock(m_fileLock);
    m_file.close();
    m_fileOpen = false;
}

bool Logger::Open() {
    return OpenLogFile(m_file);
}

void Logger::Write(std::string_view line) {
    const bool mayWait = WriteAndFlush(OutputStream::Output, line);
    if (!mayWait || s_lockedLogger == this) {
        WriteInHandler(line);
        return;
    }
    // The lock is free again when something is thrown: the error handler logs too.
    const FileState state = WriteToFile(line);
    if (!state.isOpen) {
        if (state.isExpectedOpen) {
            TOVRA_THROW(LogFileState, 30, stateDiffers);
        }
        return;
    }
    if (state.torn != 0) {
        RemoveTornLine(line.substr(0, state.torn));
    }
    // Without a size the standard function is called, for its result or its exception.
    const std::uint64_t fileSize =
        state.size < 0 ? std::filesystem::file_size(state.path) : static_cast<std::uint64_t>(state.size);
    const Rollover rollover = IsFull(fileSize, m_maxFileSize) ? RollOver(state.rotationCount) : Rollover::Done;
    if (rollover == Rollover::NotOpened) {
        TOVRA_THROW(LogFile, 20, "Couldn't open new log file.");
    }
    // Intentional: it cannot fail behind the test above, but is one of the settled checks.
    if (rollover == Rollover::NotOpen) {
        TOVRA_THROW(LogFileState, 30, stateDiffers);
    }
}

Logger::FileState Logger::WriteToFile(std::string_view line) {
    const LockedLogger locked(this);
    const std::shared_lock lock(m_fileLock);
    if (!m_file.is_open()) {
        return {.isExpectedOpen = m_fileOpen, .path = {}};
    }
    s_sharesFile = true;
    const std::size_t torn = m_file.write(line);
    const std::int64_t size = GetFileSize(m_filePath.c_str());
    s_sharesFile = false;
    return {.isOpen = true,
            .torn = torn,
            .size = size,
            .rotationCount = m_rotationCount,
            .path = size < 0 ? m_filePath : std::filesystem::path()};
}

void Logger::WriteInHandler(std::string_view line) {
    if (s_lockedLogger == this) {
        // While the file is being replaced, the line is on the console alone.
        if (s_sharesFile) {
            m_file.write(line);
        }
        return;
    }
    const LockedLogger locked(this);
    // Who has the file may be waiting for the stream that was interrupted.
    const std::shared_lock lock(m_fileLock, std::try_to_lock);
    if (lock.owns_lock() && m_file.is_open()) {
        m_file.write(line);
    }
}

void Logger::RemoveTornLine(std::string_view beginning) {
    const Utilities::BlockedSignals blocked(Utilities::BlockedSignals::Kind::AllButFaults);
    const LockedLogger locked(this);
    const std::lock_guard lock(m_fileLock);
    if (m_file.is_open()) {
        m_file.remove_torn_line(m_filePath, beginning);
    }
}

Logger::Rollover Logger::RollOver(std::uint64_t rotationCount) {
    const Utilities::BlockedSignals blocked(Utilities::BlockedSignals::Kind::AllButFaults);
    const LockedLogger locked(this);
    while (!m_fileLock.try_lock()) {
        if (m_rotationCount != rotationCount) {
            // Intentional: this thread does not own the lock here; `FileLock` ignores the call.
            m_fileLock.unlock();
            return Rollover::Done;
        }
    }
    const std::lock_guard lock(m_fileLock, std::adopt_lock);
    if (m_rotationCount != rotationCount || !m_file.is_open()) {
        // Another thread has rolled over or shut down since the size was read.
        return Rollover::Done;
    }
    ++m_rotationCount;
    m_file.close();
    m_fileOpen = false;
    if (!OpenNewLogFile(m_file)) {
        return Rollover::NotOpened;
    }
    return m_file.is_open() ? Rollover::Done : Rollover::NotOpen;
}

bool Logger::OpenLogFile(LogFile& file) {
    if (file.is_open()) {
        TOVRA_THROW(LogFile, 20, fileIsOpen);
    }
    if (m_fileOpen) {
        TOVRA_THROW(LogFileState, 30, stateDiffers);
    }
    const auto cutoff = GetCutoff(std::filesystem::file_time_type::clock::now(), m_retentionDays);
    if (!std::filesystem::exists(std::filesystem::status(m_directory)) &&
        !FileSystem::MakePrivateFolders(m_directory)) {
        TOVRA_THROW(LogDirectory, 1, "Failed to create directory for the log file.");
    }
    std::filesystem::path newest = FindNewestLogFile(cutoff);
    if (newest.empty() || IsFull(std::filesystem::file_size(newest), m_maxFileSize)) {
        return OpenNewLogFile(file);
    }
    return OpenAs(file, std::move(newest), std::ios_base::app | std::ios_base::out);
}

bool Logger::OpenNewLogFile(LogFile& file) {
    if (file.is_open()) {
        TOVRA_THROW(LogFile, 20, fileIsOpen);
    }
    if (m_fileOpen) {
        TOVRA_THROW(LogFileState, 30, stateDiffers);
    }
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    return OpenAs(file, m_directory / GetLogFileName(m_filePrefix, GetLocalTime(now)),
                  std::ios_base::out | std::ios_base::ate);
}

bool Logger::OpenAs(LogFile& file, std::filesystem::path path, std::ios_base::openmode mode) {
    const LockedLogger locked(this); // A handler's line must not go to a file that is half open.
    file.open(path, mode);
    if (!file.is_open()) {
        return false;
    }
    m_filePath = std::move(path);
    m_fileOpen = true;
    return true;
}

std::filesystem::path Logger::FindNewestLogFile(std::filesystem::file_time_type cutoff) {
    constexpr std::filesystem::file_time_type deleted;
    std::filesystem::path newest;
    std::filesystem::file_time_type newestTime = std::filesystem::file_time_type::min();
    for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(m_directory)) {
        if (!IsLogFile(entry)) {
            continue;
        }
        const std::filesystem::file_time_type time = ClearLog(cutoff, entry);
        if (time != deleted && time > newestTime) {
            newest = entry.path();
            newestTime = time;
        }
    }
    return newest;
}

bool Logger::IsLogFile(const std::filesystem::directory_entry& entry) const {
    // `filename` would copy the name of every file of the folder.
    const std::string_view path = entry.path().native();
    return IsLogFileName(path.substr(path.rfind('/') + 1), m_filePrefix) && entry.is_regular_file();
}

std::filesystem::file_time_type Logger::ClearLog(std::filesystem::file_time_type cutoff,
                                                 const std::filesystem::directory_entry& entry) {
    if (!IsLogFile(entry)) {
        TOVRA_THROW(LogFile, 25, "File must be a log file that was created by it (same prefix).");
    }
    const std::filesystem::file_time_type time = entry.last_write_time();
    if (!IsOld(time, cutoff)) {
        return time;
    }
    // Whatever the reason of a failure: a file that stays would be found again at every start.
    std::error_code error;
    const bool logFileDeleted = std::filesystem::remove(entry.path(), error);
    TOVRA_ASSERT(logFileDeleted, "Failed to delete log file.");
    return {};
}

} // namespace Tovra::System::Log
