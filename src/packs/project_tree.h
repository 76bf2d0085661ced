// The host's project tree on disk: a live root and an archive root, and the one way a
// project folder comes into being under them. In the database a project is the root's
// folder name, a backslash and the path below it ("Projects\Clients\Acme"); only here is
// it turned into a path of this platform.
//
// Nothing is ever created outside the roots: a project text with an empty component, "."
// or "..", a "/", a double quote (which no statement of the store can carry) or a control
// character is refused, and so is a path that passes through
// a symbolic link below its root. A folder that exists in another case is taken as it
// is spelled on disk.
#pragma once
#include <optional>
#include <string>

namespace ravelin::packs {

struct ProjectRoots {
  std::u16string live, archive;  // absolute folders, without a trailing separator
};

// The roots in force: those the host set, else the settings file's [Projects] LiveRoot and
// ArchiveRoot, else "Projects" and "Archive" in the mail database's folder.
ProjectRoots CurrentRoots();
// The host's choice (the CLI's --projects-root / --archive-root); an empty value goes
// back to the settings and the default.
void SetProjectRoots(const std::u16string& live, const std::u16string& archive);
// Writes the roots to the settings file (an empty value removes the choice).
void SaveProjectRoots(const std::u16string& live, const std::u16string& archive);

// "" when the database form can be a folder of the tree; otherwise why not, in words.
std::u16string CheckProjectText(const std::u16string& dbPath);

// Makes sure the folder of dbPath exists under the root of its side (InsArcPrj), making
// the root and every missing folder. Returns "" on success and a message on failure
// (nothing is created then, beyond the folders made before the failing one). `spelling`,
// when given, receives dbPath with the components below the root as they are spelled on
// disk.
std::u16string EnsureFolder(const std::u16string& dbPath, bool InsArcPrj, std::u16string* spelling = nullptr);

// The platform path of dbPath on its side, or nothing when the text is refused.
std::optional<std::u16string> DiskPath(const std::u16string& dbPath, bool InsArcPrj);

}  // namespace ravelin::packs
