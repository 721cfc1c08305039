#pragma once

#include <System/Log/FileLock.h>
#include <System/Log/Line.h>
#include <System/Log/LineHead.h>
#include <System/Log/LogFile.h>
#include <System/Log/Streams.h>
#include <System/Runtime/System.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Tovra::System::Log {

class LoggerConfig;

/// The types that can be inserted into a stream.
template <class T>
concept Streamable = requires(std::ostream& stream, const T& argument) { stream << argument; };

/// The log: formats each message as a line, prints it on the standard output and appends it to a file, which is
/// replaced by a new one when it is full. At the start the newest file is continued and old ones are deleted.
class Logger final
    : public Runtime::System<Logger, "LogSystem", GUID{0x4392DED52813410E, 0xA3BB393A4153F1F9}, LoggerConfig> {
public:
    /// Identifies the type among systems.
    static constexpr Types::TypeID s_typeID = 0x5FC2C68D;

    /// Takes the configuration, which must be a `LoggerConfig`, opens the file and sets all contexts to their
    /// configured severity. Always true. Main thread, before any other thread logs.
    ///
    /// Throws `Error<2, 2>` if the file can't be opened, and what `OpenLogFile` throws. Asserts that `config` is not
    /// null.
    bool Initialize(const Runtime::IConfig* config) override;

    /// Leaves `parameters` unchanged: the log has no loop.
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override;

    /// Closes the file. Messages still go to the standard output. A repeated call only sets the file's fail bit. Any
    /// thread.
    void OnShutdown() override;

    /// Opens the file again after `OnShutdown`, while no other thread logs; see `OpenLogFile` for result and errors.
    bool Open();

    /// Logs a message, if its stream is enabled, whatever the severity of any context:
    /// `Write<StreamID::System, MessageType::ID::Info>("Thread started.")` gives
    ///
    ///     [2026-11-13T16:13:08.1234560Z | System] Info: Thread started.
    ///
    /// The arguments are inserted in order, as `operator<<` writes them; line ends in them are kept. The line goes in
    /// one piece to the standard output and then in one piece to the file. Any thread.
    ///
    /// Throws `Error<503, 30>` if the file is closed and should not be, `Error<502, 20>` if a full file could not be
    /// replaced, and `std::filesystem::filesystem_error` if the file has no size any more; the line is on the standard
    /// output then. A file that can't be written to is no error: lines go to the standard output alone until another
    /// file is opened. A signal's handler may call it on a thread that it interrupted in the log; its line may then be
    /// on the standard output alone.
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
            // Left-aligned and filled with zeros, the state in which writing the time leaves a stream.
            stream << std::left;
            stream.fill('0');
            (stream << ... << arguments);
            line.Append(stream.view());
        }
        line.Append('\n');
    }

    /// Chooses and opens the log file: the newest of this logger's if it is not full, otherwise a new one. Deletes
    /// those that were last written before the retention period. False if the file can't be opened. Main thread, before
    /// any other thread logs.
    ///
    /// Throws `Error<502, 20>` if `file` is open, `Error<503, 30>` if the logger considers its own open,
    /// `Error<501, 1>` if the missing folder is not created, and `std::filesystem::filesystem_error` where the file
    /// system refuses. Asserts that old files can be deleted.
    bool OpenLogFile(LogFile& file);

    /// Opens a file that is named after the present second. False if it can't be opened. Throws `Error<502, 20>` and
    /// `Error<503, 30>` like `OpenLogFile`. Under the file's lock, or before any other thread logs.
    /// Intentional: an existing file is emptied, even one that was filled within this very second; names have no
    /// numbers.
    bool OpenNewLogFile(LogFile& file);

    /// Whether a folder's entry is a log file of this logger: a regular file with such a name. Throws
    /// `std::filesystem::filesystem_error` if the type is unknown and can't be read.
    bool IsLogFile(const std::filesystem::directory_entry& entry) const;

    /// Deletes a log file that was last written at `cutoff` or before. Returns the time of its last write, or the zero
    /// time if it was deleted. Throws `Error<502, 25>` for any other file, and `std::filesystem::filesystem_error` if
    /// the time can't be read. Asserts that the file can be deleted.
    std::filesystem::file_time_type ClearLog(std::filesystem::file_time_type cutoff,
                                             const std::filesystem::directory_entry& entry);

    /// For each message type the streams whose messages pass from that type on; empty before `Initialize`. The
    /// reference lives as long as the logger.
    const std::vector<Types::EnumFlags<StreamID>>& GetStreamSeverities() const { return m_streamSeverities; }

private:
    enum class Rollover { Done, NotOpened, NotOpen };

    /// The file behind a line that was written to it, all as it was under the lock, so that size and count belong to
    /// the file that the line went to. With a size from before another thread's rollover, this thread would roll over
    /// once more and, in the same second, empty the new file.
    struct FileState {
        bool isOpen = false; ///< If not, nothing was written, and only the next member is set.
        bool isExpectedOpen = false;
        std::size_t torn = 0;  ///< See `LogFile::write`.
        std::int64_t size = 0; ///< Below 0 if it can't be asked.
        std::uint64_t rotationCount = 0;
        std::filesystem::path path; ///< Empty if there is a size.
    };

    void Write(std::string_view line);
    FileState WriteToFile(std::string_view line);

    /// The file's part of `Write` in a signal's handler that interrupted this thread while it used the lock or a
    /// standard stream. It never waits. A full file, or a torn line, is left to others.
    void WriteInHandler(std::string_view line);

    void RemoveTornLine(std::string_view beginning);
    Rollover RollOver(std::uint64_t rotationCount);
    std::filesystem::path FindNewestLogFile(std::filesystem::file_time_type cutoff);
    bool OpenAs(LogFile& file, std::filesystem::path path, std::ios_base::openmode mode);

    FileLock m_fileLock;
    std::atomic<std::uint64_t> m_rotationCount = 0; ///< Tells a waiting thread that another one has rolled over.
    std::wstring m_filePrefix;
    std::filesystem::path m_directory;
    std::filesystem::path m_filePath; ///< Changes under the lock, or while no other thread logs.
    LogFile m_file;
    Types::EnumFlags<StreamID> m_enabledStreams;
    std::uint64_t m_maxFileSize = 0x6400000; ///< Bytes.
    std::int64_t m_retentionDays = 10;
    std::vector<Types::EnumFlags<StreamID>> m_streamSeverities;
    bool m_fileOpen = false; ///< Whether the logger considers `m_file` open. Changes likewise.
};

} // namespace Tovra::System::Log
