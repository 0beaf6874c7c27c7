#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "base/WString.h"

#include <map>
#include <memory>

namespace norq_std {

class ReadWriteLock;

/// The paths of the process by short keys, such as where its preferences lie. It holds none until the program sets
/// them.
///
/// The object is the one that the class registry holds under the name in the environment variable "default.Paths", else
/// under that in the property of `NorqSystem` of the same name, else under "norq_std.Paths"; so a program may put a
/// class of its own in its place, which it registers before. Any thread may call any operation.
class NORQSTD_EXPORT Paths : public AutoRegisterClass<Paths> {
public:
    ~Paths() override;

    WString toString() const override;
    WString getClassName() const override;

    /// Replaces what the key had. Throws `NorqIllegalArgumentException` for an empty key.
    virtual void setPath(const WString& key, const WString& path);
    /// The key's path, or the default. Throws `NorqIllegalArgumentException` for an empty key.
    virtual WString getPath(const WString& key, const WString& defaultPath) const;

    /// Throws `NorqAccessException` if no object of the name is registered.
    static std::shared_ptr<Paths> getInstance();

protected:
    friend class AutoRegisterClass<Paths>;

    Paths();

    static WString getPathClassName();
    static std::shared_ptr<Paths> getPathsByName(const WString& name);

private:
    static const WChar* const defaultPaths;

    std::map<WString, WString> paths;
    std::unique_ptr<ReadWriteLock> lock; // guards the paths
};

} // namespace norq_std
