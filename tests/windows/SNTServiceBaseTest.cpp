#include "RunUnderManager.h"

#include "windows/SNTServiceBase.h"

#include "base/ErrorUtils.h"
#include "support/DebugCapture.h"
#include "support/Files.h"
#include "support/NothingLeft.h"

using namespace norqstd_test;
using norq_std::WChar;
using norq_std::WString;
using NorqStd::SNTServiceBase;
using namespace std::string_literals;

namespace {

std::uint32_t idle(void*) { return 0; }

class Legacy : public SNTServiceBase {
public:
    explicit Legacy(const WString& name = u"my service", const WString& dependencyList = {})
        : SNTServiceBase(name, &idle, 3, 4, dependencyList, 0x10, 0x7) {}
    int OnUserControl(std::uint32_t control) override {
        return control == 201 ? 1 : SNTServiceBase::OnUserControl(control);
    }
    std::uint32_t state() const { return currentState; }
    static SNTServiceBase* active() { return _instance; }
};

class SNTServiceBaseTest : public NothingLeft {
protected:
    SNTServiceBaseTest() { setenv("NORQSTD_UNIT_DIRECTORY", units().c_str(), 1); }
    ~SNTServiceBaseTest() override { unsetenv("NORQSTD_UNIT_DIRECTORY"); }

    std::filesystem::path units() { return folder() / "units"; }
};

struct ControlRow {
    std::uint32_t control;
    std::vector<const WChar*> lines; // in their order
    std::uint32_t state;
};

TEST_F(SNTServiceBaseTest, EachControlDoesWhatItsRowSays) {
    const ControlRow rows[] = {
        {1, {u"Control Stop", u"3 - SERVICE_STOP_PENDING", u"1 - SERVICE_STOPPED", u"Service Stopped"}, 1},
        {2, {u"Control Pause", u"6 - SERVICE_PAUSE_PENDING", u"7 - SERVICE_PAUSED", u"Service Paused"}, 7},
        {3, {u"Control Continue", u"5 - SERVICE_CONTINUE_PENDING", u"4 - SERVICE_RUNNING"}, 4},
        {4, {u"Begin(4)", u"Begin\n", u"End with Updated status"}, 4},
        {5, {u"Control Shutdown", u"3 - SERVICE_STOP_PENDING", u"1 - SERVICE_STOPPED", u"Service Stopped"}, 1},
        {100, {u"Begin(100)", u"User Control message", u"Invalid Request"}, 1},
        {200, {u"User Control message", u"Begin (000000C8H)", u"Invalid Request"}, 1},
        {201, {u"Begin(201)", u"User Control message", u"End with"}, 1},
    };
    const Legacy service;
    for (const ControlRow& row : rows) {
        const DebugCapture log(norq_std::TRACE);
        SNTServiceBase::Handler(row.control);
        std::u16string all;
        for (const std::u16string& line : log.lines())
            all += line;
        std::size_t at = 0;
        for (const WChar* const line : row.lines) {
            at = all.find(line, at);
            EXPECT_NE(WString::npos, at) << row.control;
        }
        EXPECT_EQ(row.state, service.state()) << row.control;
        EXPECT_EQ(row.control == 100 || row.control == 200 ? 1u : 0u, log.count(u"Invalid Request"));
        EXPECT_EQ(row.control == 200 ? 1u : 0u, log.count(u"Begin (0"));
    }
}

TEST_F(SNTServiceBaseTest, FirstArgumentIsCarriedOut) {
    struct Row {
        std::vector<const char*> arguments;
        int result;
        std::vector<const WChar*> lines;
    };
    const Row rows[] = {
        {{"x"}, 0, {}},
        {{"x", "-v"}, 1, {u"my service Version 3.4", u"The service is not installed"}},
        {{"x", "-u"}, 1, {u"my service is not installed"}},
        {{"x", "-I", "-u"}, 1, {u"my service installed"}},
        {{"x", "-i"}, 1, {u"my service is already installed"}},
        {{"x", "-V"}, 1, {u"my service Version 3.4", u"The service is currently installed"}},
        {{"x", "-U"}, 1, {u"Service Removed", u"my service removed."}},
        {{"x", "-z"}, 0, {u"Invalid Arguments, Exiting"}},
        {{"x", "-F"}, 0, {}},
    };
    Legacy service;
    for (const Row& row : rows) {
        const DebugCapture log;
        EXPECT_EQ(0, service.IsForeground());
        EXPECT_EQ(row.result, service.ParseStandardArgs(static_cast<int>(row.arguments.size()), row.arguments.data()));
        EXPECT_EQ(row.lines.size(), log.lines().size());
        for (const WChar* const line : row.lines)
            EXPECT_EQ(1u, log.count(line)) << row.arguments.back();
    }
    EXPECT_EQ(1, service.IsForeground());

    put(units() / "file", "");
    setenv("NORQSTD_UNIT_DIRECTORY", (units() / "file").c_str(), 1);
    const DebugCapture log;
    const WChar* const install[] = {u"x", u"-i"};
    EXPECT_EQ(1, service.ParseStandardArgs(2, install));
    EXPECT_EQ(1u, log.count(u"my service failed to install. Error 3\n"));
}

TEST_F(SNTServiceBaseTest, InstallingWritesAUnitThatRemovingRemoves) {
    Legacy service(u"agent/1 50%", WString(u"dbus\0+network-online\0log.socket\0", 32));
    ASSERT_EQ(1, service.Install());
    const std::filesystem::path unit = units() / "agent\\x2f1\\x2050\\x25.service";
    const bool root = geteuid() == 0;
    const std::string target = root ? "multi-user.target" : "default.target";
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    EXPECT_EQ("[Unit]\nDescription=agent/1 50%%\nRequires=dbus.service\nAfter=dbus.service\n"
              "Requires=network-online.target\nAfter=network-online.target\n"
              "Requires=log.socket\nAfter=log.socket\n\n"
              "[Service]\nType=notify\nExecStart=\"" +
                  program + "\"\nExecReload=/bin/kill -HUP $MAINPID\n\n[Install]\nWantedBy=" + target + "\n",
              got(unit));
    const std::filesystem::path link = units() / (target + ".wants") / unit.filename();
    EXPECT_EQ(unit, std::filesystem::read_symlink(link));

    put(unit, "changed");
    EXPECT_EQ(0, service.Install());
    EXPECT_EQ(1073, norq_std::ErrorUtils::getLastError());
    EXPECT_EQ("changed", got(unit));
    EXPECT_EQ(1, service.IsInstalled());
    std::filesystem::create_directory(units() / "other.target.requires");
    std::filesystem::create_symlink(unit, units() / "other.target.requires" / unit.filename());
    EXPECT_EQ(1, service.Uninstall());
    EXPECT_EQ(0, service.Uninstall());
    for (const auto& entry : std::filesystem::recursive_directory_iterator(units()))
        EXPECT_TRUE(entry.is_directory()) << entry.path();

    std::filesystem::create_directory(unit); // which cannot be removed as a file
    std::filesystem::create_symlink(unit, link);
    EXPECT_EQ(0, service.Uninstall());
    EXPECT_TRUE(std::filesystem::is_symlink(link)) << "half removed";
    std::filesystem::remove(unit);

    std::filesystem::remove_all(units() / (target + ".wants"));
    put(units() / (target + ".wants"), ""); // where the link should lie: nothing is left half done
    EXPECT_EQ(0, service.Install());
    EXPECT_EQ(0, service.IsInstalled());
    EXPECT_EQ(0, Legacy(u"").Install());
}

TEST_F(SNTServiceBaseTest, ADependencyIsOneUnitOfOneLine) {
    for (const WString& name :
         {u"a\n[Service]\nExecStartPre=/bin/false\n.service"s, u"a b.socket"s, u"a\x7f.target"s}) {
        EXPECT_EQ(0, Legacy(u"odd", name + u'\0').Install());
        EXPECT_EQ(123, norq_std::ErrorUtils::getLastError());
    }
    EXPECT_FALSE(std::filesystem::exists(units())) << "of what failed";
    ASSERT_EQ(1, Legacy(u"odd", u"a\nb\0+c d\0e@f\\x2d%i\"ü.service\0"s).Install());
    const std::string text = got(units() / "odd.service");
    EXPECT_NE(std::string::npos, text.find("Requires=a\\x0ab.service\nAfter=a\\x0ab.service\n"
                                           "Requires=c\\x20d.target\nAfter=c\\x20d.target\n"
                                           "Requires=e@f\\x2d\\x25i\\x22\\xc3\\xbc.service\nAfter="))
        << text;
}

TEST_F(SNTServiceBaseTest, CopiesAreNotTheActiveService) {
    Legacy service;
    const Legacy copy = service; // NOLINT(performance-unnecessary-copy-initialization): what is tested
    EXPECT_EQ(&service, Legacy::active());
    EXPECT_EQ(0u, copy.IsForeground());
    EXPECT_EQ(u"Unknown Service State", SNTServiceBase::GetStatusStr(0));
    EXPECT_EQ(u"SERVICE_PAUSED", SNTServiceBase::GetStatusStr(7));
    EXPECT_EQ(u"Unknown Service State", SNTServiceBase::GetStatusStr(8));
}

TEST_F(SNTServiceBaseTest, RunsPausesContinuesAndStopsInAProcess) {
    NotifyListener listener((folder() / "notify").string());
    RunningSample sample(folder(), {{"NOTIFY_SOCKET", listener.name}, {"SAMPLE", "legacy"}});
    const auto expectStates = [&](const std::vector<const char*>& states) {
        for (const char* const state : states) {
            const std::string message = listener.next();
            EXPECT_EQ(std::string("STATUS=") + state, message.substr(0, message.find('\n')));
        }
    };
    EXPECT_EQ("OnInit", sample.line());
    EXPECT_EQ("works", sample.line());
    expectStates({"Starting", "Running", "Starting", "Running"});
    for (std::size_t i = 0; i < rounds(20); ++i) {
        sample.signal(SIGRTMIN + 2);
        EXPECT_EQ("OnPause", sample.line());
        expectStates({"Pausing", "Paused"});
        sample.signal(SIGRTMIN + 1, 4); // with the worker at rest
        EXPECT_EQ("OnInterrogate", sample.line());
        sample.signal(SIGRTMIN + 3);
        EXPECT_EQ("OnContinue", sample.line());
        expectStates({"Continuing", "Running"});
    }
    sample.signal(SIGRTMIN + 2);
    EXPECT_EQ("OnPause", sample.line());
    expectStates({"Pausing", "Paused"});
    sample.signal(SIGTERM);
    EXPECT_EQ("OnStop", sample.line());
    expectStates({"Stopping", "Stopped", "Stopped"}); // from the handler, and once more from the main function
    EXPECT_EQ(0, sample.end());
}

TEST_F(SNTServiceBaseTest, AStartThatIsRefusedStopsAtOnce) {
    NotifyListener listener((folder() / "notify").string());
    RunningSample sample(folder(), {{"NOTIFY_SOCKET", listener.name}, {"SAMPLE", "refused"}});
    EXPECT_EQ(0, sample.end());
    for (const char* const state : {"STATUS=Starting", "STATUS=Stopped", "STATUS=Stopped"})
        EXPECT_TRUE(listener.next().starts_with(state)) << state;
    EXPECT_NE(std::string::npos, sample.log().find("The initialization process failed"));
}

TEST_F(SNTServiceBaseTest, AStartThatThrowsIsToldAsAFailure) {
    NotifyListener listener((folder() / "notify").string());
    RunningSample sample(folder(), {{"NOTIFY_SOCKET", listener.name}, {"SAMPLE", "throws"}});
    EXPECT_EQ(0, sample.end()) << "an exception left the service";
    EXPECT_EQ("STATUS=Starting", listener.next());
    EXPECT_EQ("STATUS=Stopped\nSTOPPING=1\nERRNO=13", listener.next());
    EXPECT_NE(std::string::npos, sample.log().find("The initialization process failed"));
}

} // namespace
