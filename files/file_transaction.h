// The one way the program's data files (the results table, the settings)
// are read and changed. Every access finds the file the way the kernel
// would for this user, makes it from its template when it is missing
// (whole, never over another program's), reads it whole under its lock
// with a size bound; a change also clears what killed writers left, writes
// the new version beside the file, backs the old one up, and renames the
// new one into place only while the file is still the one that was read.
// A change that cannot take the lock is not made. Whatever fails is told in
// one FileFailure.
#pragma once

#include <wx/string.h>

#include <cstdint>
#include <functional>
#include <string>

struct FileFailure {
    enum class Kind {
        None,
        NotMade,       ///< missing, and not made from its template
        NoParent,      ///< missing, in a folder that does not exist (other: the folder); not made
        Unreadable,    ///< could not be opened or read
        NotRegular,    ///< a folder, a FIFO, a device
        TooLarge,      ///< more than the size bound
        LinkRefused,   ///< reached through a link that another user made in a shared sticky folder
        NotLocked,     ///< a change that could not take the lock
        Moved,         ///< moved or removed by another program during the change
        FolderClosed,  ///< the folder takes no new files, so the file cannot be replaced whole
        NotEncodable,  ///< a line holds a character the file's encoding cannot hold
        CutUnit,       ///< a line would follow the cut UTF-16 or UTF-32 unit the file ends in
        Unwritable,    ///< could not be written
        NoBackup,      ///< the backup could not be written
        NoFolder,      ///< the program's own folder could not be found
        Refused,       ///< what was to be written may not be (other: why, "holds a control character (U+0009)")
    };
    Kind kind = Kind::None;
    /// 0; 1 not made from its template; 2 not opened, read, locked or
    /// written; 3 no backup.
    int status = 0;
    wxString path;   ///< the file concerned (the backup for NoBackup)
    wxString other;  ///< the link refused, the folder that takes no files, the file's kind
    int error = 0;   ///< an errno value
    std::uint64_t size = 0, limit = 0;
    std::size_t line = 0;  ///< from 1, for NotEncodable and CutUnit

    /// Which file, what went wrong and why, for the user.
    wxString Text() const;
};

/// How a data file is reached.
struct DataFileAccess {
    wxString path;          ///< as the program or the user names it
    wxString templatePath;  ///< the file is made from it when missing
    bool startEmpty = false;  ///< a missing file is made empty instead
    /// Called once the file was made from its template.
    std::function<void()> created;
    /// The backup's name for a file named `name`; it is kept beside the file
    /// its path leads to.
    std::function<std::string(const std::string& name)> backupName;
    std::uint64_t sizeLimit = 0;  ///< the largest file read
    bool change = false;          ///< the lock for writing; the file may be written
    bool backUp = false;          ///< the backup is taken before anything else is done
};

/// What an edit makes of the file.
enum class FileEdit {
    Gone,     ///< what it was to change is no longer there: nothing is done
    Nothing,  ///< nothing to change: no backup, no write
    Kept,     ///< nothing changed, but the file counts as accessed (backed up when asked)
    Changed,  ///< the file is to hold new bytes: backed up when asked, then written
};

/// The bytes a changed file is to hold: its old bytes when `keepOld`, then
/// `bytes`.
struct FileContent {
    bool keepOld = false;
    std::string bytes;
};

/// Gets the file's bytes and says what it is to hold; may set a failure
/// (NotEncodable, TooLarge), which ends the access with nothing done.
using FileEditor = std::function<FileEdit(const std::string& bytes, FileContent& next, FileFailure& failure)>;

struct FileOutcome {
    FileFailure failure;
    FileEdit edit = FileEdit::Nothing;
    bool created = false;  ///< made from its template in this access
    wxString file;         ///< where the path led
};

FileOutcome AccessDataFile(const DataFileAccess& access, const FileEditor& edit);

/// Why `link` is not followed: a link that another user made in a shared
/// sticky folder. It is called "it" when it is `file` itself.
wxString RefusedLinkText(const wxString& link, const wxString& file = wxString());

/// Lets changes be made where the file cannot be locked (a network file
/// system without locks), at the risk of losing another program's change.
void AllowChangesWithoutLock(bool allowed);
bool ChangesWithoutLockAllowed();
