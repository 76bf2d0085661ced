// The file-system object of this platform: existence, move, copy, delete, attributes and
// folders, on UTF-16 paths. Failures raise Error with the platform's numbers (53 file not
// found, 58 file exists, 70 permission denied, 76 path not found).
//
// Attributes: the platform has no Hidden or ReadOnly bit of its own. The attribute word
// (Normal 0, ReadOnly 1, Hidden 2, System 4, Archive 32) is kept in the extended attribute
// "user.ravelin.attributes" where the file system has them, and in a per-process table
// otherwise, so reading, adding Hidden and clearing before a replacement all work.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ravelin::fs {

inline constexpr int32_t kNormal = 0;
inline constexpr int32_t kReadOnly = 1;
inline constexpr int32_t kHidden = 2;
inline constexpr int32_t kSystem = 4;
inline constexpr int32_t kArchive = 32;

bool FileExists(const std::u16string& path);
bool FolderExists(const std::u16string& path);
// Renames; fails with 58 when the target exists.
void MoveFile(const std::u16string& from, const std::u16string& to);
// Copies; with overwrite false an existing target fails with 58.
void CopyFile(const std::u16string& from, const std::u16string& to, bool overwrite = true);
void DeleteFile(const std::u16string& path);

// Durable replacement. Each of these leaves, at every instant, either the old or the new
// complete file at the target path, and on return the change has reached the disk.
// Flushes a file's data to the disk.
void SyncFile(const std::u16string& path);
// Flushes a folder's entries (a rename or a new file in it) to the disk.
void SyncFolder(const std::u16string& folder);
// Renames `from` over `to` (an existing target is replaced in one step) after syncing
// `from`, then syncs the folder. Both must be in the same folder or file system.
void ReplaceFile(const std::u16string& from, const std::u16string& to);
// Copies to `to` through a temporary name beside it ("<to>.part"), synced and renamed
// into place: a failure or a kill during the copy leaves any previous `to` whole.
void CopyFileDurably(const std::u16string& from, const std::u16string& to);
// Creates the folder (readable by the user only, 0700) and its parents; an existing
// folder is left as it is.
void CreatePrivateFolders(const std::u16string& path);
int64_t FileSize(const std::u16string& path);
int32_t GetAttributes(const std::u16string& path);
void SetAttributes(const std::u16string& path, int32_t attributes);
// Creates the folder and its parents; nothing when it exists.
void CreateFolders(const std::u16string& path);
// Files (not folders) directly in a folder, full paths, sorted.
std::vector<std::u16string> ListFiles(const std::u16string& folder);

// Path pieces, with '/' as the separator of this platform.
std::u16string ParentFolder(const std::u16string& path);
std::u16string FileName(const std::u16string& path);
std::u16string JoinPath(const std::u16string& folder, const std::u16string& name);
std::u16string AddPathSlash(const std::u16string& folder);

// The native form of a path for the C library and SQLite: UTF-8, except that the units
// U+DC80..U+DCFF stand for the octets 0x80..0xFF of a name that isn't UTF-8.
std::string NativePath(const std::u16string& path);
// A path as the system gives it (octets): UTF-8 decoded, and every octet that isn't part
// of valid UTF-8 kept as U+DC80..U+DCFF, so that NativePath gives the same octets back.
std::u16string FromNativePath(std::string_view native);

// Whole-file I/O on octets.
std::string ReadAll(const std::u16string& path);           // raises 53 when missing
// The file as byte text (one UTF-16 unit per octet), read in pieces so that the octets
// are never held twice; raises 53 when missing, 57 when the disk fails to read.
std::u16string ReadAllByteText(const std::u16string& path);
void WriteAll(const std::u16string& path, std::string_view data);  // create or truncate
// Byte text written as its octets (create or truncate), narrowed a slice at a time so that
// a large text is never held a second time as octets.
void WriteAllByteText(const std::u16string& path, std::u16string_view text);

}  // namespace ravelin::fs
