// Memory that runs out at any moment of a session: the host's process lives on.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "base/log.h"
#include "camera/sdk/kz_camera_control.h"
#include "imaging/buffer_node.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "standins/xalog/xalog_host.h"
#include "tests/pictures/picture_files.h"
#include "tests/platform/allocation_failure.h"
#include "tests/platform/support.h"
#include "tests/support/module_host.h"

namespace {

using namespace tests;
using namespace std::chrono_literals;

// What one session of a host comes to, without an allocation of its own.
class Session {
  public:
    explicit Session(const char* pictureFolder) : m_pictureFolder(pictureFolder) {
        XalogHost_SetStandardError(false);
        Xalog_ResetLevel(cam::kLogDebug);
        KZSim_UseRealCameras(false);
        KZSim_Configure("gige serial=A width=64 height=48 format=BayerRG8; gentl serial=T");
        m_handle = ModuleFrame_CreateHandle(1, 0);
    }

    void Run() {
        m_module = CreateModule(m_handle);
        if (m_module == nullptr) {
            return;
        }
        Get("CameraName");
        Set("TriggerProcessRunStatus", "False");
        Set("SoftTriggerWaitTime", "0");
        Set("AddRelateProc", "1");
        ModuleFrame_RunNotifyEvent(m_handle, kNotifyRelationsChanged, nullptr);
        Set("CameraName", "A");
        for (const char* key : {"ExposureTime", "Width", "CameraPreviewInfo", "SerialNumber"}) {
            Get(key);
        }
        Set("ExposureTime", "1234");
        Set("Width", "32");
        TakeFrame();
        Set("TriggerProcessRunStatus", "True");
        TakeFrame();
        m_module->SaveModuleData(&m_record);
        KZSim_Unplug("A");
        std::this_thread::sleep_for(60ms);
        KZSim_Plug("A");
        Load();
        Set("RealTimeImgAcq", "True");
        Set("UseGenTL", "True");
        Set("CameraName", "T");
        Set("UseGenTL", "False");
        Set("FileFolderName", m_pictureFolder);
        Set("DebugMode", "True");
        TakeFrame();
        DestroyModule(m_handle, m_module);
    }

    bool Loaded() const { return m_loaded; }

  private:
    void Get(const char* key) {
        std::uint32_t length = 0;
        m_module->GetParam(key, m_text, sizeof m_text, &length);
    }
    void Set(const char* key, const char* value) {
        m_module->SetParam(key, value, static_cast<std::int32_t>(std::strlen(value)));
    }
    void Load() {
        m_record.params.nNum = 2;
        std::strcpy(m_record.params.entries[0].name, "SerialNumber");
        std::strcpy(m_record.params.entries[0].value, "A");
        std::strcpy(m_record.params.entries[1].name, "WaitForConnectingTime");
        std::strcpy(m_record.params.entries[1].value, "50");
        m_loaded = m_module->LoadModuleData(&m_record) == cam::kOk;
    }
    void TakeFrame() {
        Set("TriggerSoftware", "");
        std::this_thread::sleep_for(5ms);
        cam::BufferNode node;
        std::uint32_t length = 0;
        if (m_module->GetParam("CameraImage", reinterpret_cast<char*>(&node), sizeof node,
                               &length) == cam::kOk) {
            m_module->SetParam("FreeBuf", reinterpret_cast<const char*>(&node), sizeof node);
        }
    }

    const char* const m_pictureFolder;
    void* m_handle = nullptr;
    CAbstractUserModule* m_module = nullptr;
    bool m_loaded = true;
    char m_text[8192];
    SAVE_MODULE_DATA_PARAM m_record{};
};

enum Exit { kFine, kLoadFailed, kTerminated };
constexpr unsigned kHangSeconds = 60;

// A session in a process of its own, with one allocation failing; tells how many it made.
pid_t Start(const char* pictureFolder, int failing, int* allocations) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kHangSeconds);
        std::set_terminate([] { _exit(kTerminated); });  // at once, ahead of the other threads
        auto session = std::make_unique<Session>(pictureFolder);
        platform::test::FailAllocationOfAnyThread(failing);
        session->Run();
        *allocations = platform::test::AllocationsOfAllThreads();
        _exit(session->Loaded() ? kFine : kLoadFailed);
    }
    return child;
}

// Under a sanitizer each session takes many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kStep = 11;
#else
constexpr int kStep = 1;
#endif
constexpr std::size_t kAtOnce = 16;

TEST(Memory, MayRunOutAtEveryAllocationOfASession) {
    const platform::test::TemporaryFolder folder;
    const std::string path = folder.Path().string();
    platform::test::WriteFile(folder.Path() / "a.bmp",
                              platform::test::Bmp({.width = 1, .rows = {"abc"}}));
    auto* const allocations = static_cast<int*>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(allocations, MAP_FAILED);

    int status = 0;
    ASSERT_GT(waitpid(Start(path.c_str(), -1, allocations), &status, 0), 0);
    ASSERT_EQ(status, 0);
    const int count = *allocations;
    EXPECT_GT(count, 200);

    std::map<pid_t, int> running;
    const auto await = [&](std::size_t most) {
        while (running.size() > most) {
            const pid_t child = waitpid(-1, &status, 0);
            ASSERT_GT(child, 0);
            EXPECT_TRUE(WIFEXITED(status)) << "allocation " << running[child] << " of " << count
                                           << ": signal " << WTERMSIG(status);
            EXPECT_EQ(WEXITSTATUS(status), kFine) << "allocation " << running[child];
            running.erase(child);
        }
    };
    for (int failing = 0; failing < count + 20; failing += kStep) {
        running[Start(path.c_str(), failing, allocations)] = failing;
        await(kAtOnce - 1);
    }
    await(0);
    munmap(allocations, sizeof(int));
}

TEST(Memory, ForTheReconnectThreadIsAskedForAgain) {
    ModuleHost host("gige serial=A width=64 height=48");
    host.OpenForRequests("A");
    host.onReport = [](const Report& report) {
        if (report == Report{kReportCameraSource, "0"}) {
            platform::test::FailNextAllocation();
        }
    };
    KZSim_RaiseException("A", KZ_EXCEPTION_DISCONNECTED);
    EXPECT_TRUE(host.WaitForReport({kReportCameraSource, "1"}));
    EXPECT_EQ(host.LogCount("Reconnect thread not started"), 1U);
}

TEST(Memory, ForTheCopyOfALoadIsNotNeededToReplayAndToWait) {
    ModuleHost host("gige serial=A width=64 height=48");
    for (const int before : {0, 1}) {  // the copy itself, its count of owners
        const std::string cacheNum = std::to_string(before + 7);
        const Record record = RecordOf({{"SerialNumber", "A"},
                                        {"WaitForConnectingTime", "600000"},
                                        {"ImageCacheNum", cacheNum}});
        platform::test::FailNextAllocation(before);
        EXPECT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
        EXPECT_EQ(host.Get("ImageCacheNum"), cacheNum);
        EXPECT_EQ(host.LogCount("Wait for camera[A] connecting finished, grabing=true"), 1U);
        host.ClearLog();
        host.Set("CameraName", "0");
    }
}

}  // namespace
