#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "module/framework/module_frame.h"
#include "standins/module_frame/module_frame_host.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Texts = std::vector<std::pair<std::string, std::string>>;

// Saves through the base and adds what the test wants beside it; a load only notes what came.
class FakeModule final : public UserModule<FakeModule> {
  public:
    explicit FakeModule(void* handle) { m_hModule = handle; }

    std::uint32_t SetParam(const char* key, const char* value, std::int32_t size) override {
        if (std::strcmp(key, "Refused") == 0) {
            return 0xE0000001;
        }
        if (std::strcmp(key, "Throws") == 0) {
            throw std::runtime_error("a module gone wrong");
        }
        set.emplace_back(key, std::string(value, static_cast<std::size_t>(size)));
        return 0;
    }

    std::uint32_t SaveModuleData(SAVE_MODULE_DATA_PARAM* record) override {
        const std::uint32_t status = CAbstractUserModule::SaveModuleData(record);
        record->hasModuleData = 1;
        record->binaryCount = static_cast<std::int32_t>(binaries.size());
        for (std::size_t i = 0; i < binaries.size() && i < kFrameworkMaxBinaryItems; ++i) {
            ModuleBinaryItem& item = record->binaries[i];
            std::memcpy(item.name, binaries[i].first.c_str(), binaries[i].first.size() + 1);
            item.data = binaries[i].second.data();
            item.length = static_cast<std::uint32_t>(binaries[i].second.size());
        }
        if (spoil) {
            spoil(*record);
        }
        return status;
    }

    std::uint32_t LoadModuleData(SAVE_MODULE_DATA_PARAM* record) override {
        ++loads;
        loaded.clear();
        loadedBinaries.clear();
        hadModuleData = record->hasModuleData != 0;
        for (std::int32_t i = 0; i < record->params.nNum; ++i) {
            loaded.emplace_back(record->params.entries[i].name, record->params.entries[i].value);
        }
        for (std::int32_t i = 0; i < record->binaryCount; ++i) {
            const ModuleBinaryItem& item = record->binaries[i];
            loadedBinaries.emplace_back(
                item.name, std::string(static_cast<const char*>(item.data), item.length));
        }
        return loadStatus;
    }

    Texts set;
    Texts binaries;
    void (*spoil)(SAVE_MODULE_DATA_PARAM&) = nullptr;
    int loads = 0;
    Texts loaded;
    Texts loadedBinaries;
    bool hadModuleData = false;
    std::uint32_t loadStatus = 0;
};

class ModuleFrameTest : public testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
        ModuleFrame_SetConfigFolder(Utf8(m_folder).c_str());
        m_handle = ModuleFrame_CreateHandle(7, 0);
    }
    void TearDown() override {
        ModuleFrame_SetObserver(nullptr);
        ModuleFrame_SetConfigFolder(nullptr);
        ModuleFrame_DestroyHandle(m_handle);
        std::filesystem::remove_all(m_folder);
    }

    static std::string Utf8(const std::filesystem::path& path) {
        const std::u8string text = path.u8string();
        return {text.begin(), text.end()};
    }
    static void Write(const std::filesystem::path& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    static std::string Read(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::uint32_t ReadConfig(const std::string& text, Texts* values = nullptr) {
        Write(m_folder / kModuleConfigFile, text);
        const auto list = std::make_unique<ModuleParamList>();
        const std::uint32_t status =
            CQ_M_GetDefaultConfigByFile(m_handle, kModuleConfigFile, list.get(), 0);
        if (values != nullptr) {
            *values = TextsOf(*list);
        }
        return status;
    }
    static Texts TextsOf(const ModuleParamList& list) {
        Texts texts;
        for (std::int32_t i = 0; i < list.nNum; ++i) {
            texts.emplace_back(list.entries[i].name, list.entries[i].value);
        }
        return texts;
    }

    std::uint32_t SetValue(FakeModule& module, const std::string& key, const std::string& value) {
        return ModuleFrame_SetParam(m_handle, &module, key.c_str(), value.c_str());
    }
    std::uint32_t Save(FakeModule& module) {
        return ModuleFrame_SaveSolution(m_handle, &module, Utf8(m_solution).c_str());
    }
    std::uint32_t Load(FakeModule& module) {
        return ModuleFrame_LoadSolution(m_handle, &module, Utf8(m_solution).c_str());
    }

    const std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / u8"module_frame_tests_\u00e4\u6587";
    const std::filesystem::path m_solution = m_folder / u8"L\u00f6sung.txt";
    void* m_handle = nullptr;
};

constexpr char kReport[] = "7-1-0-A1";

}  // namespace

TEST_F(ModuleFrameTest, CallsCountOnlyWithALiveHandleAndTheRightArguments) {
    void* const handle = ModuleFrame_CreateHandle(12, 0);
    std::int32_t id = 0;
    EXPECT_EQ(CQ_M_GetModuleId(handle, &id), 0U);
    EXPECT_EQ(id, 12);
    EXPECT_EQ(CQ_M_GetModuleId(handle, nullptr), kModuleFrameBadArgument);
    EXPECT_EQ(CQ_M_NotifyIncGlobalCameraNum(handle, 1, 1), kModuleFrameBadArgument);
    EXPECT_EQ(ModuleFrame_GlobalCameraNum(), 0) << "without the pattern";

    ModuleFrame_DestroyHandle(handle);
    ModuleFrame_DestroyHandle(handle);
    void* const next = ModuleFrame_CreateHandle(13, 0);
    EXPECT_EQ(CQ_M_GetModuleId(handle, &id), kModuleFrameBadArgument);
    EXPECT_EQ(CQ_M_ReportData(handle, kReportFrameArrived, kReport, 8), kModuleFrameBadArgument);
    EXPECT_EQ(CQ_M_GetModuleId(nullptr, &id), kModuleFrameBadArgument);
    ModuleFrame_DestroyHandle(next);
}

TEST_F(ModuleFrameTest, ConfigurationIsReadAsItStands) {
    Texts values;
    EXPECT_EQ(
        ReadConfig("\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<!-- c > -->\r\n<ModuleConfig >\r\n"
                   "  <Param Name=\"WaitForConnectingTime\" Value=\"1500\"/>\r\n"
                   "  <!-- <Param Name=\"No\" Value=\"\"/> -->\r\n"
                   "  <Param\tValue='a &lt;&gt;&amp;&quot;&apos; \"b\"' Name = 'Text' />\r\n"
                   "  <Param Name=\"WaitForConnectingTime\" Value=\"\"/>\r\n"
                   "</ModuleConfig>\r\n<!-- end -->\r\n",
                   &values),
        0U);
    EXPECT_THAT(values,
                ElementsAre(Pair("WaitForConnectingTime", "1500"), Pair("Text", "a <>&\"' \"b\""),
                            Pair("WaitForConnectingTime", "")));
    EXPECT_EQ(ReadConfig("<ModuleConfig/>", &values), 0U);
    EXPECT_THAT(values, IsEmpty());
}

TEST_F(ModuleFrameTest, AMissingConfigurationIsEmptyAndADamagedOneIsAnError) {
    const auto list = std::make_unique<ModuleParamList>();
    list->nNum = 5;
    EXPECT_EQ(CQ_M_GetDefaultConfigByFile(m_handle, "missing.xml", list.get(), 0), 0U);
    EXPECT_EQ(list->nNum, 0);

    const std::string whole =
        "<?xml version=\"1.0\"?><!-- c --><ModuleConfig><Param Name=\"A\" Value=\"&lt;\"/>"
        "</ModuleConfig>";
    ASSERT_EQ(ReadConfig(whole), 0U);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(ReadConfig(whole.substr(0, size)), kModuleFrameNoFile) << size;
    }
    for (const char* const body :
         {"<Param Name='A'/>", "<Param Value='A'/>", "<Param Name='' Value='1'/>",
          "<Param Name='A' Value='1' Name='B'/>", "<Param Name='A' Value='1' Other='2'/>",
          "<Param Name='A'Value='1'/>", "<Param Name='A' Value='&nbsp;'/>",
          "<Param Name='A' Value='<'/>", "<Param Name=A Value=1/>", "<Param Name='A' Value='1'>",
          "<Parameter/>", "text", "<!-- open"}) {
        EXPECT_EQ(ReadConfig(std::string("<ModuleConfig>") + body + "</ModuleConfig>"),
                  kModuleFrameNoFile)
            << body;
    }
    EXPECT_EQ(ReadConfig(whole + "x"), kModuleFrameNoFile);
    std::filesystem::create_directories(m_folder / "folder.xml");
    EXPECT_EQ(CQ_M_GetDefaultConfigByFile(m_handle, "folder.xml", list.get(), 0),
              kModuleFrameNoFile);
}

TEST_F(ModuleFrameTest, ConfigurationStaysWithinItsList) {
    const std::string name(400, 'n');
    const std::string value(3000, 'v');
    std::string text = "<ModuleConfig>";
    for (int i = 0; i < 300; ++i) {
        text += "<Param Name=\"" + name + "\" Value=\"" + value + "\"/>";
    }
    Texts values;
    EXPECT_EQ(ReadConfig(text + "</ModuleConfig>", &values), 0U);
    ASSERT_EQ(values.size(), kFrameworkMaxEntries);
    EXPECT_THAT(values.back(), Pair(name.substr(0, 259), value.substr(0, 1023)));
}

TEST_F(ModuleFrameTest, PresentConfigurationIsTheFileOverlaidByWhatTheHostSet) {
    FakeModule module(m_handle);
    ASSERT_EQ(ReadConfig("<ModuleConfig><Param Name='A' Value='1'/><Param Name='B' Value='2'/>"
                         "</ModuleConfig>"),
              0U);
    EXPECT_EQ(SetValue(module, "New", "3"), 0U);
    EXPECT_EQ(SetValue(module, "A", "4"), 0U);
    const auto list = std::make_unique<ModuleParamList>();
    EXPECT_EQ(CQ_M_GetCurrentConfigByFile(m_handle, kModuleConfigFile, list.get(), 0), 0U);
    EXPECT_THAT(TextsOf(*list), ElementsAre(Pair("A", "4"), Pair("B", "2"), Pair("New", "3")));
}

TEST_F(ModuleFrameTest, ASolutionRestoresTheAcceptedValuesInTheOrderTheyWereLastSet) {
    FakeModule module(m_handle);
    module.binaries = {{"ConnectDeviceInfo", std::string(572, '\0') + "\xFF\x01"}, {"Empty", ""}};
    EXPECT_EQ(SetValue(module, "CameraName", "one"), 0U);
    EXPECT_EQ(SetValue(module, "AddRelateProc", "5"), 0U);
    EXPECT_EQ(SetValue(module, "Width", "100"), 0U);
    EXPECT_EQ(SetValue(module, "CameraName", "two"), 0U);
    EXPECT_EQ(SetValue(module, "Refused", "1"), 0xE0000001U);
    EXPECT_EQ(SetValue(module, "Throws", "1"), kModuleFrameFailed);
    EXPECT_THAT(module.set, ElementsAre(Pair("CameraName", "one"), Pair("AddRelateProc", "5"),
                                        Pair("Width", "100"), Pair("CameraName", "two")));
    ASSERT_EQ(Save(module), 0U);

    FakeModule other(m_handle);
    EXPECT_EQ(SetValue(other, "Forgotten", "by the load"), 0U);
    other.loadStatus = 0xE0000403;
    EXPECT_EQ(Load(other), 0xE0000403U);
    EXPECT_TRUE(other.hadModuleData);
    EXPECT_THAT(other.loaded, ElementsAre(Pair("Width", "100"), Pair("CameraName", "two")));
    EXPECT_EQ(other.loadedBinaries, module.binaries);

    // What was loaded is saved again, and the file is the same to the byte.
    const std::string first = Read(m_solution);
    other.binaries = module.binaries;
    ASSERT_EQ(Save(other), 0U);
    EXPECT_EQ(Read(m_solution), first);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 1)
        << "something was left beside the solution";
}

TEST_F(ModuleFrameTest, HostileTextsComeBackUnchanged) {
    std::string everyByte;
    for (int code = 1; code < 256; ++code) {
        everyByte += static_cast<char>(code);
    }
    FakeModule module(m_handle);
    const Texts texts = {{"end\nparam \"x\" \"y\"\n", "\" \"\\x41\\"},
                         {everyByte, everyByte},
                         {std::string(259, '"'), std::string(1023, '\n')},
                         {"empty", ""}};
    for (const auto& [name, value] : texts) {
        ASSERT_EQ(SetValue(module, name, value), 0U);
    }
    ASSERT_EQ(Save(module), 0U);
    ASSERT_EQ(Load(module), 0U);
    EXPECT_EQ(module.loaded, texts);
}

TEST_F(ModuleFrameTest, ValuesThatARecordCannotHoldAreRefusedBeforeTheModuleSeesThem) {
    FakeModule module(m_handle);
    EXPECT_EQ(SetValue(module, std::string(260, 'n'), ""), kModuleFrameBadArgument);
    EXPECT_EQ(SetValue(module, "v", std::string(1024, 'v')), kModuleFrameBadArgument);
    EXPECT_EQ(SetValue(module, "", "v"), kModuleFrameBadArgument);
    EXPECT_EQ(ModuleFrame_SetParam(m_handle, &module, nullptr, ""), kModuleFrameBadArgument);
    EXPECT_EQ(ModuleFrame_SetParam(nullptr, &module, "a", "b"), kModuleFrameBadArgument);
    EXPECT_THAT(module.set, IsEmpty());

    for (std::uint32_t i = 0; i < kFrameworkMaxEntries; ++i) {
        ASSERT_EQ(SetValue(module, std::to_string(i), "x"), 0U);
    }
    EXPECT_EQ(SetValue(module, "one too many", "x"), kModuleFrameBadArgument);
    EXPECT_EQ(SetValue(module, "0", "known already"), 0U);
    ASSERT_EQ(Save(module), 0U);
    ASSERT_EQ(Load(module), 0U);
    ASSERT_EQ(module.loaded.size(), kFrameworkMaxEntries);
    EXPECT_THAT(module.loaded.back(), Pair("0", "known already"));
}

TEST_F(ModuleFrameTest, ADamagedSolutionIsAnErrorAndNeverReachesTheModule) {
    FakeModule module(m_handle);
    EXPECT_EQ(Load(module), kModuleFrameNoFile) << "a missing file";
    module.binaries = {{"ConnectDeviceInfo", "\x01\x02"}};
    ASSERT_EQ(SetValue(module, "A\n\"", "1"), 0U);
    ASSERT_EQ(Save(module), 0U);
    const std::string whole = Read(m_solution);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Write(m_solution, whole.substr(0, size));
        EXPECT_EQ(Load(module), kModuleFrameNoFile) << size;
    }
    const std::string head = "module-solution 1\n";
    std::string tooMany = head;
    for (int i = 0; i < 257; ++i) {
        tooMany += "param \"a\" \"b\"\n";
    }
    std::string tooManyItems = head;
    for (int i = 0; i < 65; ++i) {
        tooManyItems += "binary \"a\" \"00\"\n";
    }
    for (const std::string& text : std::vector<std::string>{
             whole + "x", whole + "\n", head + "end", "module-solution 2\nend\n",
             head + "param \"a\"\nend\n", head + "param \"a\" \"b\" \"c\"\nend\n",
             head + "param \"a\" \"\\x00\"\nend\n", head + "param \"a\" \"\\q\"\nend\n",
             head + "param \"a\" \"\\x4\"\nend\n", head + "params \"a\" \"b\"\nend\n",
             head + "param \"a\" \"" + std::string(1, '\0') + "\"\nend\n",
             head + "binary \"a\" \"0\"\nend\n", head + "binary \"a\" \"0g\"\nend\n",
             head + "param \"" + std::string(260, 'n') + "\" \"\"\nend\n",
             head + "param \"a\" \"" + std::string(1024, 'v') + "\"\nend\n", tooMany + "end\n",
             tooManyItems + "end\n"}) {
        Write(m_solution, text);
        EXPECT_EQ(Load(module), kModuleFrameNoFile) << text.substr(0, 60);
    }
    EXPECT_EQ(module.loads, 0);

    // An editor's line ends are no damage.
    Write(m_solution, "module-solution 1\r\nparam \"a\" \"b\"\r\nend\r\n");
    EXPECT_EQ(Load(module), 0U);
    EXPECT_THAT(module.loaded, ElementsAre(Pair("a", "b")));
}

TEST_F(ModuleFrameTest, ARecordThatIsNotWellFormedLeavesTheOldSolution) {
    FakeModule module(m_handle);
    ASSERT_EQ(SetValue(module, "A", "1"), 0U);
    ASSERT_EQ(Save(module), 0U);
    const std::string old = Read(m_solution);
    using Spoil = void (*)(SAVE_MODULE_DATA_PARAM&);
    for (const Spoil spoil : {
             Spoil{[](SAVE_MODULE_DATA_PARAM& r) { r.params.nNum = -1; }},
             Spoil{[](SAVE_MODULE_DATA_PARAM& r) { r.params.nNum = 257; }},
             Spoil{[](SAVE_MODULE_DATA_PARAM& r) { r.binaryCount = 65; }},
             Spoil{[](SAVE_MODULE_DATA_PARAM& r) { r.binaryCount = -1; }},
             Spoil{[](SAVE_MODULE_DATA_PARAM& r) {
                 std::memset(r.params.entries[0].name, 'n', kFrameworkNameSize);
             }},
             Spoil{[](SAVE_MODULE_DATA_PARAM& r) {
                 r.binaryCount = 1;
                 r.binaries[0].length = 8;
             }},
         }) {
        module.spoil = spoil;
        EXPECT_EQ(Save(module), kModuleFrameBadArgument);
    }
    module.spoil = nullptr;
    EXPECT_EQ(ModuleFrame_SaveSolution(m_handle, &module, Utf8(m_folder / "no" / "s").c_str()),
              kModuleFrameNoFile);
    EXPECT_EQ(Read(m_solution), old);
}

TEST_F(ModuleFrameTest, NoThreadIsInsideAnObserverThatWasTakenOff) {
    for (int round = 0; round < 20; ++round) {
        auto alive = std::make_unique<std::atomic<int>>(0);
        ModuleFrameObserver observer{};
        observer.user = alive.get();
        observer.onReport = [](void* user, void*, std::uint32_t, const char*, std::uint32_t) {
            auto& count = *static_cast<std::atomic<int>*>(user);
            ++count;
            std::this_thread::yield();
            --count;
        };
        ModuleFrame_SetObserver(&observer);
        std::atomic<bool> stop{false};
        std::vector<std::thread> reporters;
        for (int i = 0; i < 3; ++i) {
            reporters.emplace_back([&] {
                while (!stop) {
                    EXPECT_EQ(CQ_M_ReportData(m_handle, kReportFrameArrived, kReport, 8), 0U);
                }
            });
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ModuleFrame_SetObserver(nullptr);
        EXPECT_EQ(*alive, 0);
        alive.reset();  // a late call would touch freed memory
        stop = true;
        for (std::thread& reporter : reporters) {
            reporter.join();
        }
    }
}

TEST_F(ModuleFrameTest, CallsAreCountedAndFailAsOftenAsAsked) {
    static int reports = 0;
    reports = 0;
    ModuleFrameObserver observer{};
    observer.onReport = [](void*, void*, std::uint32_t, const char*, std::uint32_t) { ++reports; };
    ModuleFrame_SetObserver(&observer);
    const std::uint64_t before = ModuleFrame_CallCount("CQ_M_ReportData");
    ModuleFrame_FailCalls("CQ_M_ReportData", 0xE1234567, 2);
    ModuleFrame_FailCalls("CQ_M_NoSuchFunction", 1, 2);
    EXPECT_EQ(CQ_M_ReportData(m_handle, kReportFrameArrived, kReport, 8), 0xE1234567U);
    EXPECT_EQ(CQ_M_SetBinayData(kBinaryCameraState, "CameraOnline", "7", 1), 0U);
    EXPECT_EQ(CQ_M_ReportData(m_handle, kReportFrameArrived, kReport, 8), 0xE1234567U);
    EXPECT_EQ(CQ_M_ReportData(m_handle, kReportFrameArrived, kReport, 8), 0U);
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(ModuleFrame_CallCount("CQ_M_ReportData") - before, 3U);
    EXPECT_EQ(ModuleFrame_CallCount("CQ_M_NoSuchFunction"), 0U);
    EXPECT_EQ(CQ_M_TryRunProcedureOnceById(1, "", 0), kModuleFrameRefused) << "nobody takes it";
}

TEST_F(ModuleFrameTest, NotifyEventsComeOnAnotherThreadUntilTheModuleIsGone) {
    struct Notified {
        std::thread::id thread;
        std::int32_t event = 0;
        void* argument = nullptr;
    } notified;
    const NotifyEventCallback callback = [](std::int32_t event, void* argument, void* context) {
        *static_cast<Notified*>(context) = {std::this_thread::get_id(), event, argument};
        ModuleNodeInfo info{};
        return CQ_M_GetModuleNodeInfo(5, &info) == 0 ? 0xE00000FFU : 1U;
    };
    EXPECT_EQ(ModuleFrame_RunNotifyEvent(m_handle, 1, nullptr), kModuleFrameBadArgument);
    {
        FakeModule module(m_handle);
        EXPECT_EQ(CQ_M_SetNotifyEventCallback(m_handle, callback, &notified), 0U);
        EXPECT_EQ(ModuleFrame_RunNotifyEvent(m_handle, kNotifyRelationsChanged, this), 0xE00000FFU);
        EXPECT_EQ(notified.event, kNotifyRelationsChanged);
        EXPECT_EQ(notified.argument, this);
        EXPECT_NE(notified.thread, std::this_thread::get_id());
        EXPECT_NE(notified.thread, std::thread::id());
    }
    EXPECT_EQ(ModuleFrame_RunNotifyEvent(m_handle, 1, nullptr), kModuleFrameBadArgument);
}
