// What a solution saves of the module and gives back.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <memory>
#include <thread>

#include "camera/sdk/kz_camera_control.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "tests/platform/support.h"
#include "tests/support/module_host.h"

namespace {

using namespace tests;
using namespace std::chrono_literals;

constexpr char kCamera[] = "gige serial=G1 width=64 height=32 rate=200";

Entries EntriesOf(const SAVE_MODULE_DATA_PARAM& record) {
    Entries entries;
    for (std::int32_t i = 0; i < record.params.nNum; ++i) {
        entries.emplace_back(record.params.entries[i].name, record.params.entries[i].value);
    }
    return entries;
}

Record Save(ModuleHost& host) {
    Record record = RecordOf({});
    EXPECT_EQ(host.Module()->SaveModuleData(record.get()), cam::kOk);
    EXPECT_EQ(record->hasModuleData, 1U);
    return record;
}

void PutDevice(SAVE_MODULE_DATA_PARAM& record, std::int32_t index, const std::string& name,
               const void* data, std::uint32_t length) {
    ModuleBinaryItem& item = record.binaries[index];
    name.copy(item.name, sizeof item.name - 1);
    item.data = data;
    item.length = length;
    record.binaryCount = std::max(record.binaryCount, index + 1);
}

// As the host sets a value: through the framework, which remembers it for the next save.
void SetRemembered(ModuleHost& host, const char* key, const char* value) {
    EXPECT_EQ(ModuleFrame_SetParam(host.Handle(), host.Module(), key, value), cam::kOk) << key;
}

CameraDeviceInfo DeviceOf(const std::string& serial) {
    CameraDeviceInfo device{};
    device.transportType = KZ_TRANSPORT_GIGE;
    serial.copy(device.gige.serialNumber, sizeof device.gige.serialNumber - 1);
    return device;
}

TEST(Persistence, GivesAnotherModuleTheSettingsTheCameraAndTheRelations) {
    const platform::test::TemporaryFolder folder;
    const std::string file = (folder.Path() / "solution").string();
    {
        ModuleHost host(kCamera);
        SetRemembered(host, "TriggerProcessRunStatus", "False");
        SetRemembered(host, "ImageCacheNum", "7");
        SetRemembered(host, "SoftTriggerWaitTime", "1");
        SetRemembered(host, "CameraName", "G1");
        SetRemembered(host, "SerialNumber", "G1");
        SetRemembered(host, "ExposureTime", "1234");
        host.Relate(9);
        ASSERT_EQ(ModuleFrame_SaveSolution(host.Handle(), host.Module(), file.c_str()), cam::kOk);
    }
    ModuleHost host(kCamera, 2);
    ASSERT_EQ(ModuleFrame_LoadSolution(host.Handle(), host.Module(), file.c_str()), cam::kOk);
    EXPECT_EQ(host.Get("ImageCacheNum"), "7");
    EXPECT_EQ(host.Get("SerialNumber"), "G1");
    EXPECT_EQ(host.Get("ExposureTime"), "1234.000$10.000$10000000.000$1.000000$");
    EXPECT_EQ(host.LogCount("Wait for camera connecting, time=1000 ms"), 1U);
    EXPECT_EQ(host.LogCount("Camera serial number: G1"), 1U);
    EXPECT_EQ(host.LogCount("Wait for camera[G1] connecting finished, grabing=true, real wait"),
              1U);
    // The relation is back: the receivers are found, and frames are taken in.
    ModuleFrame_RunNotifyEvent(host.Handle(), kNotifyRelationsChanged, nullptr);
    ASSERT_TRUE(host.TakeImage());
    const Record saved = Save(host);
    EXPECT_EQ(EntriesOf(*saved).back(), (Entries::value_type{"AddRelateProc", "9"}));

    // What the load kept brings the camera back as it was, without choosing it again.
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForReport({kReportCameraSource, "0"}));
    host.ClearReports();
    KZSim_ClearJournal("G1");
    KZSim_Plug("G1");
    ASSERT_TRUE(Eventually(
        [&] { return host.Get("ExposureTime") == "1234.000$10.000$10000000.000$1.000000$"; }));
    EXPECT_EQ(Journal("G1", "KZ_CC_OpenDevice").size(), 1U);
}

TEST(Persistence, SavesTheSameTwiceWhenTheCameraGoesMeanwhile) {
    for (const bool loaded : {false, true}) {
        ModuleHost host(kCamera);
        if (loaded) {
            const Record record =
                RecordOf({{"AddRelateProc", "3"}, {"ImageCacheNum", "9"}, {"AddRelateProc", "12"}});
            ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
        }
        host.Set("CameraName", "0");  // forgotten with the next open
        SetRemembered(host, "CameraName", "G1");
        SetRemembered(host, "ReconnectTime", "50");
        host.Relate(12);
        host.Relate(3);
        const Record first = Save(host);
        ASSERT_EQ(first->binaryCount, 1);
        EXPECT_EQ(first->binaries[0].length, sizeof(CameraDeviceInfo));
        KZSim_Unplug("G1");
        ASSERT_TRUE(host.WaitForReport({kReportCameraSource, "0"}));
        SetRemembered(host, "ReconnectTime", "70");
        const Record second = Save(host);
        EXPECT_EQ(EntriesOf(*second), EntriesOf(*first)) << loaded;
        EXPECT_EQ(second->binaryCount, 0);
        const Record third = Save(host);
        EXPECT_EQ(EntriesOf(*third), EntriesOf(*first)) << loaded;
        // A user who closes the camera wants the present values.
        host.Set("CameraName", "0");
        const Record fourth = Save(host);
        EXPECT_NE(EntriesOf(*fourth), EntriesOf(*first)) << loaded;
        // One that could not be opened since is away again.
        SetRemembered(host, "ReconnectTime", "90");
        host.Set("Type", "1");
        host.Set("CameraIP", "10.9.9.9");
        host.Set("LocalIP", "10.9.9.1");
        EXPECT_EQ(host.Set("ConnectIP", "True"), KZ_CC_E_DEVICE_LOST);
        EXPECT_EQ(EntriesOf(*Save(host)), EntriesOf(*fourth)) << loaded;
    }
}

TEST(Persistence, RestoresALoadedRecordWithItsRelationInPlace) {
    ModuleHost host;
    const Record loaded = RecordOf({{"ReconnectTime", "5"},
                                    {"cameraname", "G9"},
                                    {"ADDRELATEPROC", "4"},
                                    {"AddRelateProc", "6"},
                                    {"ImageCacheNum", "8"}});
    ASSERT_EQ(host.Module()->LoadModuleData(loaded.get()), cam::kOk);
    // The camera's choice is not kept in any case of letters. Only the exact name relates.
    EXPECT_EQ(EntriesOf(*Save(host)), (Entries{{"ReconnectTime", "5"},
                                               {"", "G9"},
                                               {"", "4"},
                                               {"AddRelateProc", "6"},
                                               {"ImageCacheNum", "8"}}));
    // A procedure related since has no place of its own and is appended, whatever was removed.
    host.Set("DelRelateProc", "6");
    host.Set("AddRelateProc", "77");
    host.Set("AddRelateProc", "8");
    EXPECT_EQ(EntriesOf(*Save(host)), (Entries{{"ReconnectTime", "5"},
                                               {"", "G9"},
                                               {"", "4"},
                                               {"", "6"},
                                               {"ImageCacheNum", "8"},
                                               {"AddRelateProc", "77"},
                                               {"AddRelateProc", "8"}}));

    host.Set("DelRelateProc", "8");
    ASSERT_EQ(host.Module()->LoadModuleData(RecordOf({{"ReconnectTime", "1"},
                                                      {"ImageCacheNum", "2"},
                                                      {"CameraMold", "1"},
                                                      {"DebugImageSource", "3"}})
                                                .get()),
              cam::kOk);
    EXPECT_EQ(EntriesOf(*Save(host)), (Entries{{"ReconnectTime", "1"},
                                               {"ImageCacheNum", "2"},
                                               {"CameraMold", "1"},
                                               {"DebugImageSource", "3"},
                                               {"AddRelateProc", "77"}}));
}

TEST(Persistence, NamesTheRelationThatDoesNotFitAFullList) {
    ModuleHost host;
    Entries full(kFrameworkMaxEntries, {"CameraMold", "1"});
    full.back() = {"AddRelateProc", "6"};
    ASSERT_EQ(host.Module()->LoadModuleData(RecordOf(full).get()), cam::kOk);
    host.Set("AddRelateProc", "7");
    EXPECT_EQ(EntriesOf(*Save(host)), full);
    EXPECT_EQ(host.LogCount("Relation 7 not saved, the list is full"), 1U);
}

TEST(Persistence, SavesNoCameraOfAProducerOrOfAnAddress) {
    ModuleHost host(std::string(kCamera) +
                    "; usb3 serial=U1 width=64 height=32; gentl serial=T1 width=64 height=32; gige "
                    "serial=G2 width=64 height=32");
    host.Set("EnumCamera", "");
    host.Set("CameraName", "U1");
    const Record usb = Save(host);
    ASSERT_EQ(usb->binaryCount, 1);
    EXPECT_STREQ(usb->binaries[0].name, "ConnectDeviceInfo");
    CameraDeviceInfo device{};
    std::memcpy(&device, usb->binaries[0].data, sizeof device);
    EXPECT_EQ(device.transportType, KZ_TRANSPORT_USB3);
    EXPECT_STREQ(device.usb3.serialNumber, "U1");

    host.Set("Type", "1");
    host.Set("CameraIP", "10.0.0.2");
    host.Set("LocalIP", "10.0.0.1");
    ASSERT_EQ(host.Set("ConnectIP", "True"), cam::kOk);
    EXPECT_EQ(Save(host)->binaryCount, 0);
    host.Set("Type", "0");
    host.Set("UseGenTL", "True");
    ASSERT_EQ(host.Set("CameraName", "T1"), cam::kOk);
    EXPECT_EQ(Save(host)->binaryCount, 0);
}

TEST(Persistence, DoesNotWaitForACameraThatWasNotSaved) {
    ModuleHost host;
    host.ClearLog();
    const Record record = RecordOf({{"WaitForConnectingTime", "600000"}});
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);  // not in ten minutes
    EXPECT_EQ(host.LogCount("Wait for camera connecting, time=600000 ms"), 1U);
    EXPECT_EQ(host.LogCount("Camera serial number: "), 1U);
    EXPECT_EQ(host.LogCount("connecting finished"), 0U);
    ASSERT_EQ(host.Module()->LoadModuleData(RecordOf({{"Type", "1"}}).get()), cam::kOk);
    ASSERT_EQ(host.Module()->LoadModuleData(RecordOf({{"Type", "2"}}).get()), cam::kOk);
    EXPECT_EQ(host.LogCount("connecting finished"), 0U);
    EXPECT_EQ(host.LogCount("[CCameraModule::LoadModuleData@"), 6U);
    // Nor is it searched for.
    host.Set("Type", "0");
    EXPECT_FALSE(host.WaitForLog("Try connect to camera", 100ms));
}

// Leaving a live view that was never entered stops nothing, so no start follows.
TEST(Persistence, DoesNotWaitForACameraThatStreams) {
    ModuleHost host(kCamera);
    host.OpenForRequests("G1");
    const Record record = RecordOf(
        {{"SerialNumber", "G1"}, {"WaitForConnectingTime", "600000"}, {"RealTimeImgAcq", "False"}});
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);  // not in ten minutes
    EXPECT_EQ(host.LogCount("connecting finished, grabing=true"), 1U);
}

TEST(Persistence, WaitsWithinItsBoundAndLetsTheThreadGoOn) {
    ModuleHost host(kCamera);
    KZSim_Unplug("G1");
    const CameraDeviceInfo device = DeviceOf("G1");
    const Record record =
        RecordOf({{"WaitForConnectingTime", "30"}, {"SerialNumber", "G1-and-a-long-rest"}});
    PutDevice(*record, 0, "ConnectDeviceInfo", &device, sizeof device);
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
    // As much of the number as a camera's record holds. Whether grabbing counts as started depends
    // on the grab keeper's round, so only the line is asked for.
    EXPECT_EQ(host.LogCount("Wait for camera[G1-and-a-long-re] connecting finished, grabing=false"),
              1U);
    KZSim_Plug("G1");
    EXPECT_TRUE(host.WaitForReport({kReportCameraState, "1-1-G1"}));
}

TEST(Persistence, WaitsForACameraThatIsPluggedInMeanwhile) {
    ModuleHost host(kCamera);
    KZSim_Unplug("G1");
    const auto lines = host.onLog.Attach([&](const std::string& line) {
        if (line.find("Enum return 0 devices") != line.npos) {
            KZSim_Plug("G1");
        }
    });
    const Record record = RecordOf({{"WaitForConnectingTime", "600000"}, {"SerialNumber", "G1"}});
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
    EXPECT_EQ(host.LogCount("Wait for camera[G1] connecting finished, grabing=true"), 1U);
    EXPECT_EQ(host.LogCount("Enum return 0 devices"), 1U);
}

TEST(Persistence, ForgetsTheChoiceThatFailedWhenTheSavedCameraComesBack) {
    ModuleHost host(std::string(kCamera) + "; gige serial=G2 width=64 height=32");
    KZSim_SetFaults("G2", "open=0x80000201");
    EXPECT_EQ(host.Set("CameraName", "G2"), KZ_CC_E_OPEN_REFUSED);
    KZSim_SetFaults("G2", "");
    const CameraDeviceInfo device = DeviceOf("G1");
    const Record record = RecordOf({{"WaitForConnectingTime", "600000"}, {"SerialNumber", "G1"}});
    PutDevice(*record, 0, "ConnectDeviceInfo", &device, sizeof device);
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
    EXPECT_EQ(host.Get("SmartCameraType"), "1");
    host.Set("SerialNumber", "someone else");  // closes it
    EXPECT_EQ(host.Set("CheckCameraOpened", ""), cam::kOpenFailed);
}

TEST(Persistence, LooksForTheLoadedCameraInPlaceOfTheLostOne) {
    ModuleHost host(kCamera);
    host.Set("CameraName", "G1");
    KZSim_Unplug("G1");
    ASSERT_TRUE(host.WaitForLog("Try connect to camera(G1)..."));
    const Record record = RecordOf({{"SerialNumber", "OTHER"}, {"WaitForConnectingTime", "1"}});
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
    EXPECT_EQ(host.LogCount("connecting finished, grabing=false"), 1U);
    EXPECT_TRUE(host.WaitForLog("Try connect to camera(OTHER)..."));
}

TEST(Persistence, LooksAtTheFirstBinaryItemsNameOnly) {
    const CameraDeviceInfo device = DeviceOf("G1");
    const CameraDeviceInfo another = DeviceOf("G2");
    struct Solution : SAVE_MODULE_DATA_PARAM {
        ModuleBinaryItem beyond;
    };
    const auto restored = [&](auto&& fill) {
        ModuleHost host(kCamera);
        host.Set("ReconnectTime", "0");
        // Only the saved record can open it: no list is to be had.
        KZSim_SetFaults("", "fail=KZ_CC_EnumDevices:0x80000004");
        const auto record = std::make_unique<Solution>();
        record->params =
            RecordOf({{"SerialNumber", "OTHER"}, {"WaitForConnectingTime", "1"}})->params;
        fill(*record);
        EXPECT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
        EXPECT_TRUE(host.WaitForLog("Try connect to camera(OTHER)..."));
        const bool opened = host.WaitForReport({kReportCameraState, "1-1-G1"}, 250ms);
        KZSim_SetFaults("", "");
        return opened;
    };
    constexpr char kItem[] = "ConnectDeviceInfo";
    EXPECT_TRUE(restored([&](auto& r) { PutDevice(r, 0, kItem, &device, sizeof device); }));
    EXPECT_TRUE(restored([&](auto& r) {
        PutDevice(r, 0, kItem, &device, 12);
        PutDevice(r, 1, "whatever", &device, sizeof device);
    }));
    EXPECT_TRUE(restored([&](auto& r) {
        PutDevice(r, 0, kItem, &device, sizeof device);
        PutDevice(r, 1, kItem, &another, sizeof another);
    }));
    EXPECT_FALSE(restored([&](auto& r) {
        PutDevice(r, 0, kItem, &device, 12);
        r.beyond = {};
        r.beyond.data = &device;
        r.beyond.length = sizeof device;
        r.binaryCount = kFrameworkMaxBinaryItems + 1;
    }));
    EXPECT_FALSE(restored([&](auto& r) {
        PutDevice(r, 0, "another", &device, sizeof device);
        PutDevice(r, 1, kItem, &device, sizeof device);
    }));
    EXPECT_FALSE(restored([&](auto& r) { PutDevice(r, 0, kItem, nullptr, sizeof device); }));
    EXPECT_FALSE(restored([&](auto& r) { PutDevice(r, 0, kItem, &device, 573); }));
    EXPECT_FALSE(restored([&](auto& r) {
        PutDevice(r, 0, kItem, &device, sizeof device);
        r.binaryCount = 0;
    }));
}

TEST(Persistence, ReplaysNoMoreThanARecordHolds) {
    ModuleHost host;
    Entries entries;
    for (int i = 0; i < 256; ++i) {
        entries.emplace_back("ReconnectTime", std::to_string(i));
    }
    const Record record = RecordOf(entries);
    record->params.nNum = 300;
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
    EXPECT_EQ(host.Get("ReconnectTime"), "255");
    host.Set("AddRelateProc", "5");
    EXPECT_EQ(host.Module()->SaveModuleData(record.get()), cam::kOk);
}

TEST(Persistence, SurvivesHostileRecords) {
    ModuleHost host(kCamera);
    host.Set("WaitForConnectingTime", "1");
    const CameraDeviceInfo device = [] {
        CameraDeviceInfo info;
        std::memset(&info, 'x', sizeof info);
        return info;
    }();
    for (const std::int32_t count : {-1, std::numeric_limits<std::int32_t>::min(), 0, 1, 256, 300,
                                     std::numeric_limits<std::int32_t>::max()}) {
        for (const std::int32_t items :
             {-1, 0, 1, 64, 65, std::numeric_limits<std::int32_t>::max()}) {
            const Record record = RecordOf({});
            std::memset(static_cast<void*>(record.get()), 'x', sizeof *record);
            record->params.nNum = count;
            record->binaryCount = items;
            for (ModuleBinaryItem& item : record->binaries) {
                std::memset(item.name, 0, sizeof item.name);
                std::strcpy(item.name, "ConnectDeviceInfo");
                item.data = items % 2 == 0 ? nullptr : &device;
                item.length = items % 3 == 0 ? 0xFFFFFFFF : sizeof device;
            }
            EXPECT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
            EXPECT_EQ(host.Module()->SaveModuleData(record.get()), cam::kOk);
            EXPECT_LE(record->binaryCount, 1);
        }
    }
    // Known names with values that no NUL ends.
    const Record record = RecordOf({});
    std::memset(static_cast<void*>(record.get()), '7', sizeof *record);
    record->binaryCount = 0;
    record->params.nNum = 0;
    for (const char* name : {"SerialNumber", "CameraIP", "FileFolderName", "GenTLPath",
                             "AddRelateProc", "ReconnectTime", "LogLevelX", "CameraName"}) {
        ModuleParamEntry& entry = record->params.entries[record->params.nNum++];
        std::memset(entry.name, 0, sizeof entry.name);
        std::strcpy(entry.name, name);
    }
    EXPECT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
    EXPECT_EQ(host.Get("SerialNumber"), std::string(63, '7'));
    const Record saved = RecordOf({});
    EXPECT_EQ(host.Module()->SaveModuleData(saved.get()), cam::kOk);
    EXPECT_EQ(saved->params.nNum, record->params.nNum);
}

// A save keeps the list as the framework gives it, the camera's choice included. The replay at the
// end of an open must not open again and again.
TEST(Persistence, OpensOnceWhenTheKeptListChoosesTheCamera) {
    ModuleHost host(std::string(kCamera) + "; usb3 serial=U1 width=64 height=32");
    SetRemembered(host, "CameraName", "G1");
    SetRemembered(host, "SerialNumber", "G1");
    SetRemembered(host, "ExposureTime", "777");
    Save(host);
    KZSim_ClearJournal("G1");
    ASSERT_EQ(host.Set("CameraName", "G1"), cam::kOk);
    EXPECT_EQ(Journal("G1", "KZ_CC_OpenDevice").size(), 1U);
    EXPECT_EQ(Journal("G1", "KZ_CC_SetFloatValue ExposureTime 777").size(), 1U);
    // Another camera gets nothing of it.
    KZSim_ClearJournal("U1");
    ASSERT_EQ(host.Set("CameraName", "U1"), cam::kOk);
    EXPECT_EQ(Journal("U1", "ExposureTime").size(), 0U);
}

// What is replayed closes the camera, and the host, told so, opens it again.
TEST(Persistence, ReplaysNothingInsideAReplay) {
    ModuleHost host(kCamera);
    const Record record = RecordOf({{"SerialNumber", "G1"},
                                    {"WaitForConnectingTime", "1"},
                                    {"Type", "1"},
                                    {"ConnectIP", "False"},
                                    {"Type", "0"}});
    KZSim_SetFaults("", "fail=KZ_CC_EnumDevices:0x80000004");  // for the search
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
    KZSim_SetFaults("", "");
    int closed = 0;
    const auto reports = host.onReport.Attach([&](const Report& report) {
        if (report == Report{kReportCameraState, "1-0-G1"} && ++closed < 5) {
            EXPECT_EQ(host.Set("CameraName", "G1"), cam::kOk);
        }
    });
    EXPECT_EQ(host.Set("CameraName", "G1"), cam::kOk);
    EXPECT_EQ(closed, 1);
}

TEST(Persistence, ReplaysTheGenTLSwitchWithoutClosingTheCamera) {
    ModuleHost host(kCamera);
    const Record record = RecordOf({{"SERIALNUMBER", "G1"}, {"UseGenTL", "True$$$$$"}});
    ASSERT_EQ(host.Module()->LoadModuleData(record.get()), cam::kOk);
    host.Set("UseGenTL", "False");
    host.ClearReports();
    ASSERT_EQ(host.Set("CameraName", "G1"), cam::kOk);
    EXPECT_EQ(host.Get("UseGenTL"), "True$$$$$");
    EXPECT_EQ(host.StateReports(), (std::vector<Report>{{kReportCameraState, "1-1-G1"}}));
}

TEST(Persistence, GivesTheHostADeviceThatOutlivesTheNextSaveAndEnumeration) {
    ModuleHost host(std::string(kCamera) + "; gige serial=G2 width=64 height=32");
    host.Set("CameraName", "G1");
    const Record record = Save(host);
    ASSERT_EQ(record->binaryCount, 1);
    host.Set("CameraName", "G2");
    const Record other = Save(host);
    ASSERT_EQ(other->binaryCount, 1);
    EXPECT_NE(other->binaries[0].data, record->binaries[0].data);
    KZSim_Configure("");
    host.Set("EnumCamera", "");
    CameraDeviceInfo device{};
    std::memcpy(&device, record->binaries[0].data, sizeof device);
    EXPECT_STREQ(device.gige.serialNumber, "G1");
}

TEST(Persistence, ReadsTheCurrentConfigurationAndRefusesNoRecord) {
    ModuleHost host;
    const auto list = std::make_unique<ModuleParamList>();
    EXPECT_EQ(host.Module()->GetCurrentConfig(list.get()), cam::kOk);
    ModuleFrame_FailCalls("CQ_M_GetCurrentConfigByFile", 0xE1000004, 1);
    EXPECT_EQ(host.Module()->GetCurrentConfig(list.get()), 0xE1000004);

    EXPECT_EQ(host.Module()->SaveModuleData(nullptr), cam::kInvalid);
    EXPECT_EQ(host.Module()->LoadModuleData(nullptr), cam::kInvalid);
}

TEST(Persistence, SavesLoadsAndLosesAllAtOnce) {
    ModuleHost host(kCamera);
    host.OpenForRequests("G1");
    SetRemembered(host, "SerialNumber", "G1");
    SetRemembered(host, "ExposureTime", "500");
    SetRemembered(host, "WaitForConnectingTime", "5");
    const Record start = Save(host);
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            const Record own = RecordOf({});
            while (!done) {
                host.Module()->SaveModuleData(own.get());
                host.Set("AddRelateProc", "8");
                host.Set("DelRelateProc", "8");
            }
        });
        threads.emplace_back([&] {
            const Record own = std::make_unique<SAVE_MODULE_DATA_PARAM>(*start);
            own->binaryCount = 0;
            while (!done) {
                host.Module()->LoadModuleData(own.get());
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        KZSim_Unplug("G1");
        std::this_thread::sleep_for(15ms);
        KZSim_Plug("G1");
        std::this_thread::sleep_for(25ms);
    }
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(Eventually([&] {
        host.Set("EnumCamera", "");
        return host.Set("CameraName", "G1") == cam::kOk;
    }));
    EXPECT_EQ(host.Get("ExposureTime"), "500.000$10.000$10000000.000$1.000000$");
    host.Destroy();
    EXPECT_EQ(KZSim_OpenHandles(), 0U);
}

}  // namespace
