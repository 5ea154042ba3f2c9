#pragma once
// A file written under a hidden name beside its target (".name.part-XXXXXX")
// and renamed into place only once it is complete, so that nothing under a
// real name is ever half-written. What is not committed is removed.
#include <string>

#include <sys/types.h>

namespace kau {

class PartFile {
public:
    // Creates the hidden file beside target with the permission bits mode.
    PartFile(const std::string& target, mode_t mode);
    ~PartFile();
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    bool isOpen() const { return m_fd >= 0; }
    int fd() const { return m_fd; }

    // Closes the file and renames it over the target. False, with the hidden
    // file removed, the target untouched and errno telling why, if either fails.
    bool Commit();
    // Closes and removes the hidden file; the target stays as it was.
    void Discard();

    // True if a bare file name is one that a PartFile makes (".NAME.part-XXXXXX").
    static bool IsPartFileName(const std::string& name);
    // Removes the part files that a writer killed on its way left in
    // directory (not below it). Only for a directory no other writer uses.
    static void RemoveLeftovers(const std::string& directory);

private:
    std::string m_target;
    std::string m_temp;
    int m_fd = -1;
};

} // namespace kau
