#pragma once

#include "base/Object.h"
#include "connection/IDispatcher.h"
#include "pattern/Singleton.h"

#include <map>
#include <memory>

namespace norq_std {

/// The dispatchers of the process, one for each key. They live as long as the process. Any thread may call any
/// operation.
class NORQSTD_EXPORT DispatcherFactory : public Object, public Singleton<DispatcherFactory> {
public:
    WString toString() const override;

    /// The dispatcher of the key, made at the first call. Throws `NorqIllegalArgumentException` for an empty key.
    std::shared_ptr<IDispatcher> getDispatcher(const WString& key);
    /// Whether the key was asked for before.
    bool isValidKey(const WString& key) const;

private:
    friend class Singleton<DispatcherFactory>;

    DispatcherFactory();
    ~DispatcherFactory() override;

    static const WChar* getSingletonName();

    static Lock& lock; ///< never destroyed
    std::map<WString, std::shared_ptr<IDispatcher>> dispatchers;
};

} // namespace norq_std
