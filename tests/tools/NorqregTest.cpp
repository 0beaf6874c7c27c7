// Runs norqreg as its users do, with hives in a temporary folder.

#include "support/Actor.h"

#include "base/JsonArray.h"
#include "base/JsonObject.h"
#include "base/JsonUtil.h"
#include "base/UtfUtils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using norq_std::JsonObject;
using norq_std::UtfUtils;
using norqstd_test::eventually;
using Words = std::vector<std::string>;

struct Ended {
    int status = -1;
    std::string output;
    std::string errors;
};

std::shared_ptr<JsonObject> json(const std::string& line) {
    auto object = std::dynamic_pointer_cast<JsonObject>(norq_std::JsonUtil::parseJson(UtfUtils::utf8ToUtf16(line)));
    EXPECT_TRUE(object) << line;
    return object ? object : std::make_shared<JsonObject>();
}

class NorqregTest : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "norqreg-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
        fs::permissions(folder, fs::perms::others_read | fs::perms::others_exec, fs::perm_options::add);
        // NOLINTBEGIN(concurrency-mt-unsafe): this process has no other thread
        setenv("NORQSTD_REGISTRY_USER", path("user").c_str(), 1);
        setenv("NORQSTD_REGISTRY_MACHINE", path("machine").c_str(), 1);
        setenv("LC_ALL", "C.UTF-8", 1);
        // NOLINTEND(concurrency-mt-unsafe)
    }
    void TearDown() override { fs::remove_all(folder); }

    std::string path(const std::string& name) const { return (folder / name).string(); }
    static std::string contentOf(const fs::path& file) {
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }

    /// What it prints goes to files of this name.
    pid_t start(Words words, const std::string& name, const std::string& output = {}) const {
        std::vector<char*> argv;
        for (std::string& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        for (const auto& [descriptor, file] : {std::pair(STDOUT_FILENO, output.empty() ? path(name + ".out") : output),
                                               {STDERR_FILENO, path(name + ".err")}})
            posix_spawn_file_actions_addopen(&actions, descriptor, file.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0666);
        pid_t child = -1;
        EXPECT_EQ(posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ), 0) << words[0];
        posix_spawn_file_actions_destroy(&actions);
        return child;
    }
    Ended await(pid_t child, const std::string& name) const {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contentOf(path(name + ".out")),
                contentOf(path(name + ".err"))};
    }
    Ended run(const Words& words) const { return await(start(words, "run"), "run"); }
    Ended norqreg(Words words) const {
        words.insert(words.begin(), NORQREG);
        return run(words);
    }
    /// Its output; it must succeed.
    std::string got(const Words& words) const {
        const Ended ended = norqreg(words);
        EXPECT_EQ(ended.status, 0) << words[0] << ' ' << ended.errors;
        return ended.output;
    }

    fs::path folder;
};

struct Step {
    Words words;
    int status;
    std::string output;
};

} // namespace

TEST_F(NorqregTest, valuesAndKeysAreSetReadListedAndDeleted) {
    const std::string longest(80, 'n');
    const std::vector<Step> steps{
        {{"get", "HKCU/Software/X"}, 1, ""},
        {{"set", "HKCU/Software/X", "colour", "blue = \"1\""}, 0, ""},
        {{"set", "hkey_current_user\\software\\X\\", "size", "-7", "--int"}, 0, ""},
        {{"set", "--", "HKCU/Software/X", "dash", "--json"}, 0, ""},
        {{"set", "HKCU/Software/X/empty key"}, 0, ""},
        {{"set", "HKCU/Software/X", longest, std::string(8192, 'v')}, 0, ""},
        {{"get", "HKCU/Software/X", "colour"}, 0, "blue = \"1\"\n"},
        {{"get", "HKCU/SOFTWARE/x", "SIZE"}, 0, "-7\n"},
        {{"get", "HKCU/Software/X", "none"}, 1, ""},
        {{"delete", "HKCU/Software/X", longest}, 0, ""},
        {{"delete", "HKCU/Software/X", longest}, 1, ""},
        {{"list", "HKCU/Software/X"}, 0, "empty key\\\ncolour = \"blue = \\\"1\\\"\"\ndash = --json\nsize = -7\n"},
        {{"list"}, 0, "HKCU\\\nHKLM\\\n"},
        {{"tree", "HKCU", "--depth", "1"}, 0, "HKCU\\\n    Software\\\n"},
        {{"tree", "HKCU/Software/X"},
         0,
         "HKCU\\Software\\X\\\n    colour = \"blue = \\\"1\\\"\"\n    dash = --json\n    size = -7\n    empty key\\\n"},
        {{"delete", "HKCU/Software"}, 2, ""},
        {{"delete", "HKCU/Software", "--recursive"}, 0, ""},
        {{"delete", "HKCU/Software"}, 1, ""},
        {{"list", "HKCU"}, 0, ""},
    };
    for (const Step& step : steps) {
        const Ended ended = norqreg(step.words);
        std::string words;
        for (const std::string& word : step.words)
            words += word.substr(0, 40) + " ";
        EXPECT_EQ(ended.status, step.status) << words << ended.errors;
        EXPECT_EQ(ended.output, step.output) << words;
        EXPECT_EQ(ended.errors.empty(), step.status == 0) << words << ended.errors;
    }
}

TEST_F(NorqregTest, textOfAnyKindComesBackAndIsSeenForWhatItIs) {
    const std::vector<std::pair<std::string, std::string>> values{
        {"plain text \xc3\xa9", "plain text \xc3\xa9"},
        {"", "\"\""},
        {" blank", "\" blank\""},
        {"C:\\folder", "C:\\folder"},
        {"a\"b\\c", "\"a\\\"b\\\\c\""},
        {"1\n2\t\x1b[31m", "\"1\\n2\\t\\u001b[31m\""},
        {"\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80"},
        {"\xe2\x80\xaetxt", "\"\\u202etxt\""},
    };
    for (const auto& [text, listed] : values) {
        got({"set", "HKCU/X", "a=b", text});
        EXPECT_EQ(got({"get", "HKCU/X", "a=b"}), text + "\n");
        EXPECT_EQ(got({"get", "HKCU/X"}), "\"a=b\" = " + listed + "\n");
        const auto one = json(got({"get", "--json", "HKCU/X", "a=b"}));
        EXPECT_EQ(UtfUtils::utf16ToUtf8(one->getString(u"value", u"?")), text);
        EXPECT_EQ(one->getString(u"key", u""), u"HKCU\\X");
        const auto all = json(got({"get", "--json", "HKCU/X"}))->getObject(u"values");
        EXPECT_EQ(UtfUtils::utf16ToUtf8(all->getString(u"a=b", u"?")), text);
    }
    got({"set", "HKCU/X/Y/Z"});
    EXPECT_EQ(json(got({"list", "--json", "HKCU/X"}))->getArray(u"keys")->toJsonString(), u"[\"Y\"]");
    EXPECT_EQ(json(got({"list", "--json"}))->getArray(u"keys")->size(), 2u);
    const auto whole = json(got({"tree", "--json", "HKCU/X"}));
    const auto below = std::dynamic_pointer_cast<JsonObject>(*whole->getArray(u"keys")->begin());
    EXPECT_EQ(below->toJsonString(),
              u"{\"keys\":[{\"keys\":[],\"name\":\"Z\",\"values\":{}}],\"name\":\"Y\",\"values\":{}}");
}

TEST_F(NorqregTest, wrongUsageIsTold) {
    const std::vector<std::pair<Words, std::string>> wrong{
        {{}, "no command"},
        {{"frobnicate"}, "there is no command 'frobnicate'"},
        {{"get"}, "an argument is missing; see norqreg get --help"},
        {{"get", "HKCU", "a", "b"}, "an argument too many"},
        {{"get", "--frob", "HKCU"}, "unknown option '--frob'"},
        {{"get", "--json=1", "HKCU"}, "'--json' takes no value"},
        {{"tree", "--depth"}, "'--depth' needs a value"},
        {{"tree", "--depth=-1"}, "--depth takes a number, not '-1'"},
        {{"get", "HKXX/a"}, "'HKXX/a' is not a key: it must begin with HKCU or HKLM"},
        {{"get", "HKCU/a//b"}, "a name is empty"},
        {{"get", "HKCU//"}, "a name is empty"},
        {{"get", "HKCU", ""}, "the name of a value is empty"},
        {{"get", "HKCU/\xff"}, "this is not UTF-8"},
        {{"set", "HKCU/a", "b"}, "the value is missing"},
        {{"set", "HKCU/a", "b", "1x", "--int"}, "'1x' is not a whole number of 32 bits"},
        {{"set", "HKCU/a", std::string(81, 'n'), "v"}, "81 units long"},
        {{"set", "HKCU/a", "n", std::string(8193, 'v')}, "8193 units long"},
        {{"delete", "HKCU"}, "a hive cannot be deleted"},
    };
    for (const auto& [words, message] : wrong) {
        const Ended ended = norqreg(words);
        EXPECT_EQ(ended.status, 2) << message;
        EXPECT_NE(ended.errors.find(message), std::string::npos) << message << "\n" << ended.errors;
        EXPECT_TRUE(ended.output.empty());
    }
    EXPECT_FALSE(fs::exists(path("machine"))) << "nothing looked at the other hive";
    const pid_t child = start({NORQREG, "--help"}, "full", "/dev/full");
    EXPECT_EQ(await(child, "full").status, 4);
}

TEST_F(NorqregTest, helpAndManualTellOfEachCommandAndOption) {
    const std::string help = got({"--help"});
    const std::string manual = contentOf(fs::path(NORQREG_SOURCES) / "norqreg.1");
    EXPECT_TRUE(got({"--version"}).starts_with("norqreg 1."));
    for (const char* const command :
         {"get", "set", "delete", "list", "tree", "export", "import", "watch", "add-jvms"}) {
        EXPECT_NE(help.find(std::string("\n  ") + command + " "), std::string::npos) << command;
        EXPECT_NE(manual.find(std::string(".BI \"") + command + " "), std::string::npos) << command;
        std::istringstream lines(got({command, "--help"}));
        for (std::string word; lines >> word;) {
            if (!word.starts_with("--") || word == "--help")
                continue;
            std::string escaped; // a hyphen that is one is written so in a manual
            for (const char each : word)
                escaped += each == '-' ? "\\-" : std::string(1, each);
            EXPECT_NE(manual.find(escaped.substr(0, escaped.find_first_of(",.;"))), std::string::npos) << word;
        }
    }
    const Ended checked =
        run({BASH, "-c", "! command -v groff || groff -man -Tutf8 -ww -z '" NORQREG_SOURCES "/norqreg.1'"});
    EXPECT_EQ(checked.errors, "");
    EXPECT_EQ(checked.status, 0);
}

TEST_F(NorqregTest, aHiveThatMayNotBeWrittenIsReadAndTheDenialIsTold) {
    got({"set", "HKLM/X", "name", "value"});
    fs::permissions(path("machine"), fs::perms::owner_write, fs::perm_options::remove);
    for (const auto& entry : fs::directory_iterator(path("machine")))
        fs::permissions(entry.path(), fs::perms::owner_write, fs::perm_options::remove);
    const auto asReader = [&](const Words& words) { // nothing is denied to root
        Words all{NORQREG};
        if (geteuid() == 0)
            all = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", NORQREG};
        all.insert(all.end(), words.begin(), words.end());
        return run(all);
    };
    EXPECT_EQ(asReader({"get", "HKLM/X", "name"}).output, "value\n");
    std::ofstream(path("x.xml"))
        << "<preferences><root type=\"system\"><map><entry key=\"a\" value=\"b\"/></map></root></preferences>";
    for (const Words& words : {Words{"set", "HKLM/X", "name", "other"},
                               {"set", "HKLM/Y"},
                               {"delete", "HKLM/X"},
                               {"delete", "HKLM/X", "name"},
                               {"import", path("x.xml")}}) {
        const Ended ended = asReader(words);
        EXPECT_EQ(ended.status, 3) << words[0] << ' ' << ended.errors;
        EXPECT_NE(ended.errors.find("enied"), std::string::npos) << ended.errors;
    }
    fs::permissions(path("machine"), fs::perms::owner_write, fs::perm_options::add);
    EXPECT_EQ(got({"get", "HKLM/X", "name"}), "value\n");
}

TEST_F(NorqregTest, whatWasExportedComesBackAndWhatCannotIsRefused) {
    got({"set", "HKCU/Software/X", "name", "it's > \xe2\x82\xac"});
    got({"set", "HKCU/Software/X/Y/Z", "number", "--int", "7"});
    got({"set", "HKCU/Software/X/empty"});
    got({"set", "HKCU/Software/Other", "not", "exported"});
    const std::string before = got({"tree", "HKCU/Software/X"});
    got({"export", "HKCU/software/x", path("x.xml")});
    EXPECT_EQ(contentOf(path("x.xml")).find("Other"), std::string::npos);
    for (const auto& entry : fs::directory_iterator(folder))
        EXPECT_NE(entry.path().stem(), "x.xml") << entry.path() << " is left";
    got({"export", "--node", "HKCU/Software/X", path("node.xml")});
    got({"delete", "--recursive", "HKCU/Software"});
    got({"import", path("x.xml")});
    EXPECT_EQ(got({"tree", "HKCU/Software/X"}), before);
    got({"delete", "--recursive", "HKCU/Software"});
    got({"import", path("node.xml")});
    EXPECT_EQ(got({"tree", "HKCU/Software/X"}), before.substr(0, before.find('\n', before.find('\n') + 1) + 1));

    for (const char* const value : {"a\"b", "a<b", "a&b", "a\nb", "a\tb", "", "\xf0\x9f\x98\x80"}) {
        got({"set", "HKCU/Odd", "v", value});
        const Ended ended = norqreg({"export", "HKCU/Odd", path("odd.xml")});
        EXPECT_EQ(ended.status, 5) << value;
        EXPECT_NE(ended.errors.find("value v of HKCU\\Odd "), std::string::npos) << ended.errors;
        EXPECT_FALSE(fs::exists(path("odd.xml")));
        got({"export", "--force", "HKCU/Odd", path("odd.xml")});
        EXPECT_TRUE(fs::exists(path("odd.xml")));
        fs::remove(path("odd.xml"));
    }
    // Nothing but the file is touched: no link that somebody put there is followed but FILE itself.
    got({"set", "HKCU/X", "v", "1"});
    std::ofstream(path("other")) << "other";
    std::ofstream(path("secret.xml")) << "old";
    fs::permissions(path("secret.xml"), fs::perms(0600));
    fs::create_symlink(path("other"), path("secret.xml.part"));
    fs::create_symlink(path("secret.xml"), path("link.xml"));
    got({"export", "HKCU/X", path("link.xml")});
    EXPECT_EQ(contentOf(path("other")), "other");
    EXPECT_TRUE(fs::is_symlink(path("link.xml")));
    EXPECT_NE(contentOf(path("secret.xml")).find("key=\"v\""), std::string::npos) << contentOf(path("secret.xml"));
    EXPECT_EQ(fs::status(path("secret.xml")).permissions(), fs::perms(0600));

    EXPECT_EQ(norqreg({"export", "HKCU/none", path("x.xml")}).status, 1);
    EXPECT_EQ(norqreg({"export", "HKCU/Software", path("no/such/folder/x.xml")}).status, 0) << "made";
    EXPECT_EQ(norqreg({"import", path("none.xml")}).status, 1);
    for (const char* const content :
         {"", "text", "<other/>", "<preferences><root type=\"other\"><map/></root></preferences>"}) {
        std::ofstream(path("bad.xml")) << content;
        EXPECT_EQ(norqreg({"import", path("bad.xml")}).status, 5) << content;
    }
}

TEST_F(NorqregTest, aWatchSeesWhatOtherProcessesDo) {
    got({"set", "HKCU/X/Old", "a", "1"});
    const pid_t child = start({NORQREG, "watch", "--subtree", "HKCU/X"}, "watch");
    const auto seen = [&](const std::string& line) {
        const bool came = eventually(
            [&] { return ("\n" + contentOf(path("watch.out"))).find("\n" + line + "\n") != std::string::npos; });
        EXPECT_TRUE(came) << line << " is not in\n" << contentOf(path("watch.out"));
    };
    EXPECT_TRUE(eventually([&] { return contentOf(path("watch.err")).find("watching HKCU\\X") != std::string::npos; }));
    const std::vector<std::pair<Words, std::string>> changes{
        {{"set", "HKCU/X", "top", "1"}, "HKCU\\X: top = 1"},
        {{"set", "HKCU/X/Old", "a", " 2"}, "HKCU\\X\\Old: a = \" 2\""},
        {{"delete", "HKCU/X/Old", "a"}, "HKCU\\X\\Old: a deleted"},
        {{"set", "HKCU/X/New/Deep", "b", "3"}, "HKCU\\X\\New\\Deep: b = 3"},
        {{"set", "HKCU/X/New/Deep", "b", "4"}, "HKCU\\X\\New\\Deep: b = 4"},
        {{"delete", "--recursive", "HKCU/X/New"}, "HKCU\\X\\New\\Deep: deleted"},
        {{"set", "HKCU/X/New"}, "HKCU\\X\\New: made"},
    };
    for (const auto& [words, line] : changes) {
        got(words);
        seen(line);
    }
    kill(child, SIGTERM);
    EXPECT_EQ(await(child, "watch").status, 0);

    const pid_t counting = start({NORQREG, "watch", "--json", "--count=1", "HKCU/X"}, "count");
    EXPECT_TRUE(eventually([&] { return contentOf(path("count.err")).find("watching") != std::string::npos; }));
    got({"set", "HKCU/X/Old", "a", "not of this key"});
    got({"set", "HKCU/X", "top", "2"});
    const Ended counted = await(counting, "count");
    EXPECT_EQ(counted.status, 0);
    EXPECT_EQ(json(counted.output)->toJsonString(),
              u"{\"change\":\"set\",\"key\":\"HKCU\\\\X\",\"name\":\"top\",\"value\":\"2\"}");

    EXPECT_EQ(norqreg({"watch", "HKCU/X", "--count", "1", "--timeout", "1"}).status, 6);
    EXPECT_EQ(norqreg({"watch", "HKCU/X", "--timeout", "1"}).status, 0);
    EXPECT_EQ(norqreg({"watch", "HKCU/none", "--timeout", "1"}).status, 1);
    const pid_t gone = start({NORQREG, "watch", "HKCU/X/Old"}, "gone");
    EXPECT_TRUE(eventually([&] { return contentOf(path("gone.err")).find("watching") != std::string::npos; }));
    got({"delete", "HKCU/X/Old"});
    EXPECT_EQ(await(gone, "gone").status, 1);
}

TEST_F(NorqregTest, javaRuntimesAreRegisteredWhereTheBridgeLooks) {
    const auto make = [&](const std::string& name, const std::string& library, const std::string& version) {
        fs::create_directories((folder / name / library).parent_path());
        std::ofstream(folder / name / library) << "library";
        std::ofstream(folder / name / "release") << "IMPLEMENTOR=\"x\"\nJAVA_VERSION=\"" << version << "\"\n";
    };
    make("jvms/eight", "jre/lib/amd64/server/libjvm.so", "1.8.0_392");
    make("jvms/new", "lib/server/libjvm.so", "99.0.1");
    make("jvms/same", "lib/server/libjvm.so", "99.0.1");
    make("jvms/none", "lib/other", "98");
    fs::create_symlink(path("jvms/new"), path("jvms/link"));
    const auto entries = [&](const Words& options) {
        Words words{"add-jvms", "--json", path("jvms")};
        words.insert(words.end(), options.begin(), options.end());
        std::vector<std::string> found;
        const auto whole = json(got(words));
        for (const auto& each : *whole->getArray(u"runtimes")) {
            const auto entry = std::dynamic_pointer_cast<JsonObject>(each);
            const fs::path home = UtfUtils::utf16ToUtf8(entry->getString(u"javaHome", u""));
            if (home.parent_path() == folder / "jvms")
                found.push_back(home.filename().string() + " " +
                                UtfUtils::utf16ToUtf8(entry->getString(u"state", u"")));
        }
        return found;
    };
    const std::string runtimes = "HKLM/SOFTWARE/JavaSoft/Java Runtime Environment";
    EXPECT_EQ(entries({"--dry-run"}), (Words{"eight added", "new added", "same left out"}));
    EXPECT_EQ(norqreg({"list", runtimes}).status, 1);
    EXPECT_EQ(entries({}), (Words{"eight added", "new added", "same left out"}));
    EXPECT_EQ(entries({}), (Words{"eight unchanged", "new unchanged", "same left out"}));
    EXPECT_EQ(got({"get", runtimes + "/1.8.0_392", "RuntimeLib"}), path("jvms/eight/jre/lib/amd64/server/libjvm.so\n"));
    EXPECT_EQ(got({"get", runtimes + "/99.0.1", "JavaHome"}), path("jvms/new\n"));
    fs::remove_all(path("jvms/new"));
    make("jvms/eight", "jre/lib/amd64/server/libjvm.so", "1.8.0_400");
    EXPECT_EQ(entries({"--prune"}), (Words{"eight added", "same changed", "eight removed"}));
    EXPECT_EQ(norqreg({"get", runtimes + "/1.8.0_392"}).status, 1);
}

TEST_F(NorqregTest, theShellCompletesCommandsOptionsKeysAndValues) {
    got({"set", "HKCU/Software/X y", "name", "value"});
    got({"set", "HKCU/Software/Xz/Below", "other", "1"});
    const auto completed = [&](const std::string& line) { // words as bash cuts them, the last one to be completed
        const Ended ended =
            run({BASH, "-c",
                 "source '" NORQREG_SOURCES "/norqreg.bash'; COMP_WORDS=('" NORQREG "' " + line +
                     "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _norqreg; printf '%s\\n' \"${COMPREPLY[@]}\""});
        EXPECT_EQ(ended.errors, "");
        return ended.output;
    };
    for (const auto& [line, expected] : std::vector<std::pair<std::string, std::string>>{
             {"ex", "export\n"},
             {"--v", "--version\n"},
             {"watch --t", "--timeout\n"},
             {"get hk", "HKCU/\nHKLM/\n"},
             {"get HKCU/soft", "HKCU/Software/\n"},
             {"get HKCU/Software/x", "HKCU/Software/X\\ y\nHKCU/Software/Xz/\n"},
             {R"(get 'HKCU\\Soft')", "HKCU\\\\Software\\\\\n"},
             {R"(get '"HKCU\Software\X ')", "HKCU\\Software\\X y\n"},
             {R"(get 'HKCU/Software/X\ y' N)", "name\n"},
             {R"(set 'HKCU/Software/X\ y' name '')", "value\n"},
             {"get HKCU/None/", "\n"},
             {"tree --depth 1 HKCU/s", "HKCU/Software/\n"},
             {"import x", "\n"}})
        EXPECT_EQ(completed(line), expected) << line;
}
