#pragma once

#include "base/Configurable.h"
#include "base/Export.h"
#include "base/WString.h"
#include "concurrency/Lock.h"
#include "pattern/Singleton.h"

#include <map>
#include <memory>

namespace norq_std {

class ILogAppender;
class ILogEventFilter;
class ILogEventLayout;
class NorqLibrary;

/// Makes the appenders of a log by the names of their classes, and keeps them, and the modules that brought classes,
/// for the life of the process. Any thread may call any operation.
class NORQSTD_EXPORT StaticLogFactory : public Singleton<StaticLogFactory> {
    friend class Singleton<StaticLogFactory>;

public:
    using Properties = Configurable::Properties;

    /// Null if there is none of the name. `NorqIllegalArgumentException` for the empty name.
    std::shared_ptr<ILogAppender> getAppender(const WString& name);
    bool appenderExists(const WString& name);
    void removeAppender(const WString& name);

    /// Makes an appender with its filter and layout, in place of any earlier one of the name.
    ///
    /// Throws `NorqIllegalArgumentException` for an empty name and without a class or a filter,
    /// `NorqObjectNotFoundException` for a class that nobody registered, and what the classes throw themselves.
    std::shared_ptr<ILogAppender> createAppender(const WString& name, const Properties& properties);

    bool moduleLoaded(const WString& name);
    /// Loads a shared library, whose load code registers its classes. Throws as `NorqLibrary` does.
    void loadModule(const WString& name);
    void unloadModule(const WString& name);

private:
    StaticLogFactory();
    ~StaticLogFactory();
    static const WChar* getSingletonName() { return u"StaticLogFactory"; }

    static std::shared_ptr<ILogEventFilter> createFilter(const Properties& properties);
    static std::shared_ptr<ILogEventLayout> createLayout(const Properties& properties);

    std::map<WString, std::shared_ptr<ILogAppender>> appenders;
    std::map<WString, std::shared_ptr<NorqLibrary>> modules;
    Lock lock; // guards both
};

} // namespace norq_std
