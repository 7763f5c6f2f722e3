// Every file the program writes other than its data files (a result
// document, the heat test's log and picture, a report): checked before
// anything is measured, opened as it was checked, and put in place whole.
//
// A regular file is written as a temporary file in its folder, which is held
// open from the check on, and renamed over the file at the end, so that a
// refused or killed run leaves the old file as it was (the next writer clears
// a killed one's temporary file). A FIFO that a program reads, the null, zero
// and full devices, a terminal and the program's own standard output are
// written into.
// Refused, each with its own message: a link or a file that another user put
// in a folder others may write to and that is sticky (/tmp), a FIFO nobody
// reads (nothing ever waits for one), any other device, and a file the
// program keeps (its results table, the table's backup, its settings) or
// that another output of the same command already is.
#pragma once

#include "files/atomic_file.h"
#include "files/descriptor.h"

#include <wx/string.h>

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

/// Where a name leads: the folder and the name in it, and the file there
/// when there is one. Two names that lead to one place, or to one file by
/// another name, are the same file.
struct FileIdentity {
    bool found = false;  ///< false when its folder could not be reached
    dev_t folderDevice = 0;
    ino_t folderInode = 0;
    std::string name;
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;

    bool Same(const FileIdentity& other) const;
};

/// Where `path` leads, its links followed as ResolvePath follows them.
FileIdentity IdentifyFile(const wxString& path);

/// A file an output must not be, and how a message names it ("the results
/// table", "the output of --log").
struct KeptFile {
    wxString what;
    FileIdentity identity;
};

/// Why an output cannot be written.
struct OutputFailure {
    enum class Kind {
        None,
        Error,          ///< the system said why (error)
        LinkRefused,    ///< reached through a link another user made in a shared sticky folder (other)
        OthersFile,     ///< another user's file, FIFO or device in a shared sticky folder (other: its kind)
        FifoNoReader,   ///< a FIFO that no program reads
        Device,         ///< a device other than the null, zero and full devices or a terminal (other: its kind)
        Socket,
        Kept,           ///< a file the program keeps, or another output (other: what it is)
        Changing,       ///< it kept changing while it was looked at
    };
    Kind kind = Kind::None;
    int error = 0;
    wxString path;
    wxString other;

    explicit operator bool() const { return kind != Kind::None; }
    /// Which file, and why, for the user: "PATH could not be written: ...".
    wxString Text() const;
};

class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Looks at the output `path` ("-" is standard output) and makes it
    /// ready; nothing is written into it yet. Never blocks.
    OutputFailure Open(const wxString& path, const std::vector<KeptFile>& kept);
    /// Adds `data` to it; 0 or the errno.
    int Write(std::string_view data);
    /// Puts it in place (renames the new file over the old one) or closes
    /// it; 0 or the errno. An output never finished is left as it was.
    int Finish();

    /// Whether it goes to this program's own standard output.
    bool ToStandardOutput() const { return m_standardOutput; }
    /// Whether it replaces a regular file (rather than being written into a
    /// FIFO, a terminal or the null device, which several outputs may share).
    bool Replacing() const { return m_replacing; }
    /// Where it leads, to keep another output of the command from it.
    const FileIdentity& Identity() const { return m_identity; }

private:
    OutputFailure OpenThroughProcess(const std::string& named, const std::vector<KeptFile>& kept);
    OutputFailure Keep(const std::vector<KeptFile>& kept);

    wxString m_path;
    FileIdentity m_identity;
    ReplacingWriter m_writer;  ///< for a regular file
    bool m_replacing = false;
    Descriptor m_stream;       ///< for what is written into
    bool m_standardOutput = false;
};
