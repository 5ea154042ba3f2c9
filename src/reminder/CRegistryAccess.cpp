#include "reminder/CRegistryAccess.h"

#include "reminder/ReminderStore.h"

#include <QSettings>
#include <QString>
#include <QVariant>

#include <charconv>
#include <memory>

namespace kau {

namespace {

// The store, or null when it exists but can't be read as a store. On Linux
// the path is the one QSettings' native user scope of Korvane/AutoUpdate
// gives, worked out at each call so that a changed XDG_CONFIG_HOME counts;
// on Windows that scope is the registry.
std::unique_ptr<QSettings> openStore()
{
#ifdef Q_OS_WIN
    auto settings = std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                                QStringLiteral("Korvane"),
                                                QStringLiteral("AutoUpdate"));
#else
    auto settings = std::make_unique<QSettings>(
        QString::fromStdString(reminder::StoreFilePath()), QSettings::IniFormat);
#endif
    if (settings->status() != QSettings::NoError)
        return nullptr;
    return settings;
}

QString qs(const std::string& s)
{
    return QString::fromUtf8(s.data(), qsizetype(s.size()));
}

// Full name of a value below the group of a key path.
QString valueKey(const std::string& keyPath, const std::string& valueName)
{
    const std::string group = reminder::GroupOfKeyPath(keyPath);
    return qs(group.empty() ? valueName : group + "/" + valueName);
}

// The key exists when its group holds anything; the top level always exists.
bool keyExists(QSettings& settings, const std::string& keyPath)
{
    const std::string group = reminder::GroupOfKeyPath(keyPath);
    if (group.empty())
        return true;
    settings.beginGroup(qs(group));
    const bool any = !settings.childKeys().isEmpty() || !settings.childGroups().isEmpty();
    settings.endGroup();
    return any;
}

// A stored number that fits in 32 bits.
bool toDword(const QVariant& v, std::uint32_t& out)
{
    const std::string text = v.toString().trimmed().toStdString();
    if (text.empty())
        return false;
    const char* first = text.data();
    const char* last = first + text.size();
    if (text[0] == '-') {
        long long n = 0;
        auto r = std::from_chars(first, last, n);
        if (r.ec != std::errc() || r.ptr != last || n < INT32_MIN)
            return false;
        out = static_cast<std::uint32_t>(static_cast<std::int32_t>(n));
        return true;
    }
    unsigned long long n = 0;
    auto r = std::from_chars(first, last, n);
    if (r.ec != std::errc() || r.ptr != last || n > UINT32_MAX)
        return false;
    out = static_cast<std::uint32_t>(n);
    return true;
}

// Sets one value and puts the file down; -1 when the store can't be opened,
// -4 when the file can't be written.
int writeValue(const std::string& keyPath, const std::string& valueName, const QVariant& value)
{
    auto settings = openStore();
    if (!settings)
        return -1;
    settings->setValue(valueKey(keyPath, valueName), value);
    settings->sync();
    return settings->status() == QSettings::NoError ? 0 : -4;
}

} // namespace

int CRegistryAccess::ReadDword(RegistryHive, const std::string& keyPath,
                               const std::string& valueName, std::uint32_t& value)
{
    value = 0;
    m_nStatus = 0;
    auto settings = openStore();
    if (!settings || !keyExists(*settings, keyPath)) {
        m_nStatus = -1;
        return m_nStatus;
    }
    const QVariant v = settings->value(valueKey(keyPath, valueName));
    std::uint32_t n = 0;
    if (!v.isValid() || !toDword(v, n))
        m_nStatus = -1;
    else
        value = n;
    return m_nStatus;
}

int CRegistryAccess::WriteDword(RegistryHive, const std::string& keyPath,
                                const std::string& valueName, std::uint32_t value)
{
    m_nStatus = writeValue(keyPath, valueName, QVariant(static_cast<qulonglong>(value)));
    return m_nStatus;
}

int CRegistryAccess::ReadString(RegistryHive, const std::string& keyPath,
                                const std::string& valueName, std::string& text)
{
    m_nStatus = 0;
    m_strText.clear();
    text.clear();
    auto settings = openStore();
    if (!settings || !keyExists(*settings, keyPath)) {
        m_nStatus = -1;
        return m_nStatus;
    }
    const QVariant v = settings->value(valueKey(keyPath, valueName));
    const QByteArray bytes = v.toString().toUtf8();
    if (!v.isValid() || std::size_t(bytes.size()) > kTextLimit) {
        m_nStatus = -3;
        return m_nStatus;
    }
    m_strText.assign(bytes.constData(), std::size_t(bytes.size()));
    text = m_strText;
    return m_nStatus;
}

int CRegistryAccess::WriteString(RegistryHive, const std::string& keyPath,
                                 const std::string& valueName, std::string value)
{
    m_nStatus = writeValue(keyPath, valueName, QVariant(qs(value)));
    return m_nStatus;
}

int CRegistryAccess::WriteValues(RegistryHive, const std::string& keyPath,
                                 const std::vector<RegistryValue>& values)
{
    auto settings = openStore();
    if (!settings) {
        m_nStatus = -1;
        return m_nStatus;
    }
    for (const RegistryValue& v : values) {
        if (const auto* n = std::get_if<std::uint32_t>(&v.value))
            settings->setValue(valueKey(keyPath, v.name), QVariant(static_cast<qulonglong>(*n)));
        else
            settings->setValue(valueKey(keyPath, v.name), QVariant(qs(std::get<std::string>(v.value))));
    }
    settings->sync();
    m_nStatus = settings->status() == QSettings::NoError ? 0 : -4;
    return m_nStatus;
}

int CRegistryAccess::DeleteValue(RegistryHive, const std::string& keyPath,
                                 const std::string& valueName)
{
    m_nStatus = 0;
    auto settings = openStore();
    if (!settings || !keyExists(*settings, keyPath)) {
        m_nStatus = -1;
        return m_nStatus;
    }
    const QString key = valueKey(keyPath, valueName);
    if (!settings->contains(key)) {
        m_nStatus = -3;
        return m_nStatus;
    }
    settings->remove(key);
    settings->sync();
    if (settings->status() != QSettings::NoError)
        m_nStatus = -3;
    return m_nStatus;
}

int CRegistryAccess::ProbeKey(RegistryHive, const std::string& keyPath)
{
    auto settings = openStore();
    m_nStatus = settings && keyExists(*settings, keyPath) ? 0 : -1;
    return m_nStatus;
}

} // namespace kau
