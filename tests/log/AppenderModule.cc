// Loaded by the log through "modules": brings an appender class that writes to the file in its property "target".
#include "base/AutoRegisterClass.h"
#include "base/UtfUtils.h"
#include "log/ILogAppender.h"

#include <fstream>

namespace {

using namespace norq_std;

class ModuleAppender : public ILogAppender, public AutoRegisterClass<ModuleAppender> {
public:
    ModuleAppender()
        : ILogAppender(nullptr, nullptr) {}
    WString toString() const override { return u"ModuleAppender{}"; }
    WString getClassName() const override { return u"test.ModuleAppender"; }
    ModuleAppender* newInstance(const Properties& properties) const override {
        auto* const made = new ModuleAppender;
        made->target.open(UtfUtils::utf16ToUtf8(properties.at(u"target")));
        return made;
    }

protected:
    void localAppend(const LogEvent&) override {}
    void localAppend(const WString& text) override { target << UtfUtils::utf16ToUtf8(text) << std::flush; }

private:
    std::ofstream target;
};

__attribute__((constructor)) void onLoad() { ModuleAppender::registerClass(); }

} // namespace
