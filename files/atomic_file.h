// Writing the program's files so that nothing is ever half-written: a new
// file goes to a temporary file beside the target, is flushed to the disk and
// renamed over the target. A symbolic link is followed to its target, which
// is replaced there, so the link stays a link.
#pragma once

#include <wx/string.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The file a path names once every symbolic link of its last component is
/// followed (relative targets taken from the link's directory). A dangling
/// link gives the path of the missing target; a path that is no link, itself.
wxString FollowLinks(const wxString& path);

/// Replaces the file at `path` (its link target when it is a link) by `size`
/// bytes, keeping the old file's permissions. Returns 0, or the errno of what
/// failed; the old file is then untouched. When the directory refuses new
/// files but the file itself may be written, it is rewritten in place.
int WriteFileAtomically(const wxString& path, const char* data, std::size_t size);

/// The same for bytes in pieces, written one after the other.
using Pieces = std::vector<std::string_view>;
int WriteFileAtomically(const wxString& path, const Pieces& data);

/// Reads what the open descriptor `fd` holds up to its end; 0 or the errno.
int ReadAll(int fd, std::string& bytes);

/// Reads the whole file at `path` into `bytes`; 0 or the errno.
int ReadWholeFile(const wxString& path, std::string& bytes);

/// 0 when the file at `path` can be opened for reading, else the errno.
int ReadError(const wxString& path);

/// Copies `from` to `to` as WriteFileAtomically writes; 0 or the errno.
int CopyFileAtomically(const wxString& from, const wxString& to);

/// Makes `path` (its link target) a copy of `source` when it does not exist
/// yet; the copy appears whole or not at all and never replaces a file that
/// another program made meanwhile. Returns 0 when it was made, EEXIST when
/// the file was there, or the errno of what failed.
int CreateFileFrom(const wxString& source, const wxString& path);

/// Removes the temporary files that writers of `path` killed before their
/// rename left beside its target. A live writer holds the lock of its own
/// temporary file from its creation to its rename, so its file is left alone
/// whatever lock the caller holds.
void RemoveStaleTemporaries(const wxString& path);

/// Whether `name` (a bare file name) is one of our temporary files for a
/// target named `target`.
bool IsTemporaryFor(const std::string& name, const std::string& target);

/// The system's text for an errno value.
wxString ErrorText(int error);

/// `path` as an absolute path, to name a file in a message.
wxString AbsolutePath(const wxString& path);
