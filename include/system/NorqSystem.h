#pragma once

#include "base/Export.h"
#include "base/Object.h"
#include "base/WString.h"
#include "pattern/Singleton.h"

#include <map>

namespace norq_std {

class ReadWriteLock;

/// The process's view of its surroundings: environment, properties, names of host and operating system.
///
/// Properties are settings that live in the process alone, empty at start; the library asks for "ByteBuffer maximum
/// capacity", "default.Paths", "default.PreferencesFactory" and "Ext_Library_Path". Any thread may call any operation.
/// The operations on the environment exclude each other; code that changes the environment past this class, or reads
/// it past this class while another thread calls `putEnv`, is on its own. Names and values of the environment are UTF-8
/// outside; what is not well-formed becomes U+FFFD.
class NORQSTD_EXPORT NorqSystem : public Object, public Singleton<NorqSystem> {
public:
    using Properties = std::map<WString, WString>;

    /// The family of the programs' interfaces, not the kernel; there is one.
    enum OSType { OS_WINDOWS = 0 };

    NorqSystem(const NorqSystem&) = delete;
    NorqSystem& operator=(const NorqSystem&) = delete;
    ~NorqSystem() override;

    WString toString() const override;

    static OSType getOperatingSystemType();
    /// The distribution and the kernel, such as "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64"; the kernel
    /// alone where the distribution does not name itself.
    static WString getOperatingSystemName();
    /// Empty if the system does not tell.
    static WString getHostName();
    /// The DNS domain of this host as it is configured: in its name, in the hosts file or for the resolver, asked in
    /// this order and without the network; empty where none of them names one.
    static WString getWindowsDomain();

    /// The variable's value, empty if it is not set; "USERPROFILE", where it is not set, is the user's home directory
    /// as a path of the family ("C:\home\x"). Throws `NorqIllegalArgumentException` for an empty name.
    WString getEnv(const WString& name) const;
    /// Sets the variable, as the C runtime does with the text name=value: an empty value removes it. False if the
    /// system refuses. Throws `NorqIllegalArgumentException` for an empty name.
    bool putEnv(const WString& name, const WString& value);

    /// The property's value, or the default where it is absent. Throws `NorqIllegalArgumentException` for an empty key.
    WString getProperty(const WString& key, const WString& defaultValue) const;
    /// Returns the previous value, empty if there was none. Throws `NorqIllegalArgumentException` for an empty key.
    WString setProperty(const WString& key, const WString& value);
    Properties getProperties() const;
    /// Replaces all properties by a copy of these.
    void setProperties(const Properties& newProperties);

private:
    friend class Singleton<NorqSystem>;

    NorqSystem();
    static const WChar* getSingletonName();
    static ReadWriteLock& lock(); // guards the properties

    Properties properties;
};

} // namespace norq_std
