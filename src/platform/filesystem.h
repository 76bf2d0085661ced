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

// The native form of a path for the C library and SQLite.
std::string NativePath(const std::u16string& path);

// Whole-file I/O on octets.
std::string ReadAll(const std::u16string& path);           // raises 53 when missing
// A whole file as byte text, widened as it is read (no copy of its octets is kept).
std::u16string ReadAllByteText(const std::u16string& path);  // raises 53 when missing
void WriteAll(const std::u16string& path, std::string_view data);  // create or truncate

}  // namespace ravelin::fs
