#pragma once
// Reads and writes one value of the reminder settings. A user makes a local
// object, calls one or more operations and drops it; nothing stays open
// between two operations, and each operation returns its status:
//
//    0  success
//   -1  the key can't be opened or created (the store can't be read, or the
//       key has no values), or a number can't be read
//   -3  a text can't be read, or a value can't be deleted
//   -4  a value can't be written (the store file can't be put down)
//
// The store is the INI file of ReminderStore.h. Numbers are kept as decimal
// numbers; a number reads back only when it fits in 4 bytes (0..4294967295,
// or a negative that fits in 32 bits, taken as its two's complement). Texts
// are kept as UTF-8 text; a text reads back only when it has at most 100
// bytes. A failed operation leaves the file as it was.
//
// Writes are safe against other processes: each write takes the lock file
// next to the store, reads the current file, and replaces it as a whole by
// renaming a finished copy over it, so readers never see a torn file and a
// crash during a write leaves the old file.
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace kau {

// One value of a combined write: a number or a text.
struct RegistryValue {
    std::string name;
    std::variant<std::uint32_t, std::string> value;
};

// The one place the settings can live; kept as an argument for the callers'
// sake.
enum class RegistryHive { LocalMachine };

class CRegistryAccess {
public:
    CRegistryAccess() = default;
    virtual ~CRegistryAccess() = default;

    // Sets value to 0 first; on success it holds the number.
    int ReadDword(RegistryHive hive, const std::string& keyPath, const std::string& valueName,
                  std::uint32_t& value);
    // Writes a number, creating the key if needed.
    int WriteDword(RegistryHive hive, const std::string& keyPath, const std::string& valueName,
                   std::uint32_t value);
    // Empties text first; on success it holds the value.
    int ReadString(RegistryHive hive, const std::string& keyPath, const std::string& valueName,
                   std::string& text);
    // Writes a text, creating the key if needed.
    int WriteString(RegistryHive hive, const std::string& keyPath, const std::string& valueName,
                    std::string value);
    // Writes several values in the given order as one change of the file
    // (all or none), creating the key if needed; status as for one write.
    int WriteValues(RegistryHive hive, const std::string& keyPath,
                    const std::vector<RegistryValue>& values);
    // Removes a value (-3 when it isn't there).
    int DeleteValue(RegistryHive hive, const std::string& keyPath, const std::string& valueName);
    // 0 when the key holds at least one value or sub-key.
    int ProbeKey(RegistryHive hive, const std::string& keyPath);

    // Largest text ReadString passes, in bytes.
    static constexpr std::size_t kTextLimit = 100;

private:
    int m_nStatus = 0;
    std::string m_strText;
};

} // namespace kau
