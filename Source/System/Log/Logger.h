#pragma once

#include <System/Log/FileLock.h>
#include <System/Log/Line.h>
#include <System/Log/LineHead.h>
#include <System/Log/LogFile.h>
#include <System/Log/Streams.h>
#include <System/Runtime/System.h>

#include <atomic>
#include <chrono>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Tovra::System::Log {

class LoggerConfig;

template <class T>
concept Streamable = requires(std::ostream& stream, const T& argument) { stream << argument; };

/// The log: makes each message a line, prints it on the standard output and appends it to a file, which is exchanged
/// for a new one when it is full. A start goes on with the newest file and deletes old ones.
class Logger final
    : public Runtime::System<Logger, "LogSystem", GUID{0x4392DED52813410E, 0xA3BB393A4153F1F9}, LoggerConfig> {
public:
    static constexpr Types::TypeID s_typeID = 0x5FC2C68D;

    /// Takes the configuration, which must be a `LoggerConfig`, opens the file and brings all contexts to their
    /// configured severity. Always true. Main thread, before any other thread logs.
    ///
    /// Throws 2/2 if the file can't be opened, and what `OpenLogFile` throws. Asserts that `config` is not null.
    bool Initialize(const Runtime::IConfig* config) override;

    /// The log needs no thread.
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override;

    /// Closes the file. Messages still go to the standard output. Any thread.
    void OnShutdown() override;

    /// Opens the file anew after `OnShutdown`, while no other thread logs; see `OpenLogFile` for result and errors.
    bool Open();

    /// Logs a message whatever its context says, if its stream is enabled: `Write<StreamID::System,
    /// MessageType::ID::Info>("Thread started.")` gives
    ///
    ///     [2026-11-13T16:13:08.1234560Z | System] Info: Thread started.
    ///
    /// The arguments stand in the line as `operator<<` inserts them, in order. Line ends in them are not treated. The
    /// line goes to the standard output first, in one piece, then to the file, in one piece as well. Any thread.
    ///
    /// Throws 503/30 if the file is closed and should not be, 502/20 if a full file could not be exchanged, and
    /// `std::filesystem::filesystem_error` if the file has no size any more; the line is on the standard output then. A
    /// file that takes no more is no error: from then on lines go to the standard output alone, until another file is
    /// opened.
    template <StreamID stream, MessageType::ID type, Streamable... Args>
    void Write(const Args&... arguments) {
        if (!m_enabledStreams.HasAny(stream)) {
            return;
        }
        Line line;
        AppendTime(line, std::chrono::system_clock::now());
        line.Append(LineOrigin<stream, type>::GetText());
        ComposeMessage(line, arguments...);
        Write(line.GetText());
    }

    /// Appends the arguments and a line end.
    template <Streamable... Args>
    static void ComposeMessage(Line& line, const Args&... arguments) {
        if constexpr ((LineArgument<Args> && ...)) {
            (AppendArgument(line, arguments), ...);
        } else {
            std::ostringstream stream;
            // As the line's head would leave it, which was made with one stream.
            stream << std::left;
            stream.fill('0');
            (stream << ... << arguments);
            line.Append(stream.view());
        }
        line.Append('\n');
    }

    /// Chooses and opens the log file: the newest of this logger's, if it is not full, otherwise a new one. Deletes
    /// those that were last written before the retention period. False if the file can't be opened.
    ///
    /// Throws 502/20 if `file` is open, 503/30 if the logger thinks that its own is, 501/1 if the folder is missing and
    /// can't be made, `std::filesystem::filesystem_error` where the file system refuses. Asserts that what is old can
    /// be deleted. Main thread, before any other thread logs.
    bool OpenLogFile(LogFile& file);

    /// Opens a file that is named after the present second; one that is there already is emptied. That is meant, even
    /// if it loses the lines of a file that was filled within this very second: names carry no numbers.
    ///
    /// Throws like `OpenLogFile`. Under the file's lock.
    bool OpenNewLogFile(LogFile& file);

    /// Whether a folder's entry is a log file of this logger.
    bool IsLogFile(const std::filesystem::directory_entry& entry) const;

    /// Deletes a log file that was last written at `cutoff` or before. Gives the time of its last write, or the zero
    /// time if it was deleted. Throws 502/25 for another file, and `std::filesystem::filesystem_error` if the time
    /// can't be asked; asserts that the file can be deleted, whatever the reason if not.
    std::filesystem::file_time_type ClearLog(std::filesystem::file_time_type cutoff,
                                             const std::filesystem::directory_entry& entry);

    /// For each message type the streams whose messages pass from that type on; empty before `Initialize`.
    const std::vector<Types::EnumFlags<StreamID>>& GetStreamSeverities() const { return m_streamSeverities; }

private:
    enum class Rollover { Done, NotOpened, NotOpen };

    void Write(std::string_view line);

    void RemoveTornLine(std::string_view beginning);
    Rollover RollOver(std::uint64_t rotationCount);
    std::filesystem::path FindNewestLogFile(std::filesystem::file_time_type cutoff);
    bool OpenAs(LogFile& file, const std::filesystem::path& path, std::ios_base::openmode mode);

    FileLock m_fileLock;
    std::atomic<std::uint64_t> m_rotationCount = 0; ///< Tells a waiting thread that another one has rolled over.
    std::wstring m_filePrefix;
    std::filesystem::path m_directory;
    std::filesystem::path m_filePath; ///< Changes under the lock, or while nobody else logs.
    LogFile m_file;
    Types::EnumFlags<StreamID> m_enabledStreams;
    std::uint64_t m_maxFileSize = 0x6400000; ///< Bytes.
    std::int64_t m_retentionDays = 10;
    std::vector<Types::EnumFlags<StreamID>> m_streamSeverities;
    bool m_fileOpen = false; ///< The logger's own opinion of whether `m_file` is open. Changes likewise.
};

} // namespace Tovra::System::Log
