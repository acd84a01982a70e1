// A host of MSVC's interface: it loads CameraModule.dll from beside itself and drives it through
// the table of operations as clang lays it out for that interface. Started again as `host map NAME
// LENGTH FRAME SUM` it is the other process that maps a frame's region.
#include "imaging/buffer_node.h"
#include "module/framework/module_frame.h"
#include "module/log/xalog.h"
#include "standins/kz_camera_control/simulated_cameras.h"
#include "standins/module_frame/module_frame_host.h"
#include "standins/xalog/xalog_host.h"
#include "system.h"

int _fltused = 0;

namespace {

using CreateFunction = CAbstractUserModule*(void* handle);
using DestroyFunction = void(void* handle, CAbstractUserModule* module);

constexpr char kCameras[] = "gige serial=A1 width=64 height=48 format=Mono8";
constexpr std::int32_t kProcedure = 5;
constexpr std::int32_t kModuleId = 7;
constexpr std::uint32_t kTimeout = 20'000;
constexpr std::size_t kRegionHeader = 128;
constexpr std::size_t kRegionName = 16;
constexpr std::uint32_t kSnapshotThreads = 4;
constexpr int kFirstLoads = 20;
constexpr int kLoads = 1000;
// MinGW's run-time library keeps 480 bytes for each thread that the module had and 24 for each
// std::mutex, about 3 KiB a load.
constexpr std::size_t kMemoryLeft = kLoads * std::size_t{8192};

// Prints, so that a failure is found where it happened.
void Check(bool holds, const char* what) {
    if (!holds) {
        printf("FAILED: %s\n", what);
        ExitProcess(1);
    }
    printf("ok: %s\n", what);
}

template <typename Condition>
bool Eventually(Condition condition) {
    const std::uint64_t end = GetTickCount64() + kTimeout;
    while (!condition()) {
        if (GetTickCount64() > end) {
            return false;
        }
        Sleep(5);
    }
    return true;
}

std::uint32_t SumOf(const std::uint8_t* bytes, std::size_t size) {
    std::uint32_t sum = 2'166'136'261;  // FNV-1a
    for (std::size_t i = 0; i < size; ++i) {
        sum = (sum ^ bytes[i]) * 16'777'619;
    }
    return sum;
}

// What reports, questions and log lines brought, each from threads of the module.
struct Seen {
    void* volatile handle;
    volatile std::uint32_t frames;
    volatile std::uint32_t online;
    volatile std::uint32_t asked;
    volatile bool take;
    volatile bool initLine;
    volatile bool arguments;
} g_seen;

void OnReport(void*, void* handle, std::uint32_t code, const char* text, std::uint32_t length) {
    g_seen.handle = handle;
    if (code == kReportFrameArrived && length > 4 && strncmp(text, "7-1-", 4) == 0) {
        g_seen.frames = g_seen.frames + 1;
    }
    if (code == kReportCameraState && length == 6 && strncmp(text, "7-1-A1", 6) == 0) {
        g_seen.online = g_seen.online + 1;
    }
}

std::uint32_t OnProcedure(void*, std::int32_t procedure, const char*, std::int32_t) {
    if (procedure == kProcedure) {
        g_seen.asked = g_seen.asked + 1;
    }
    return g_seen.take ? 0 : kModuleFrameRefused;
}

void OnLogLine(std::int32_t, const char* line, void*) {
    if (strncmp(line, "[CameraModule] [ModuId:7] [CCameraModule::Init@", 47) == 0) {
        g_seen.initLine = true;
    }
    if (strcmp(line, "-42 text 2.50 4294967296") == 0) {
        g_seen.arguments = true;
    }
}

std::uint32_t Set(CAbstractUserModule* module, const char* key, const char* value) {
    return module->SetParam(key, value, static_cast<std::int32_t>(strlen(value)));
}

char g_value[70'000];

const char* Get(CAbstractUserModule* module, const char* key) {
    std::uint32_t length = 0;
    g_value[0] = '\0';
    return module->GetParam(key, g_value, sizeof g_value - 1, &length) == 0 ? g_value : "";
}

bool TakeImage(CAbstractUserModule* module, cam::BufferNode& image) {
    std::uint32_t length = 0;
    return module->GetParam("CameraImage", reinterpret_cast<char*>(&image), sizeof image,
                            &length) == 0;
}

bool FreeImage(CAbstractUserModule* module, const cam::BufferNode& image) {
    return module->SetParam("FreeBuf", reinterpret_cast<const char*>(&image), sizeof image) == 0;
}

// The other process.
int MapRegion(const char* arguments) {
    char name[64];
    unsigned length = 0;
    unsigned frame = 0;
    unsigned sum = 0;
    if (sscanf(arguments, " map %63s %u %u %u", name, &length, &frame, &sum) != 4) {
        return 2;
    }
    const Handle mapping = OpenFileMappingA(kMapRead, 0, name);
    const auto* const view =
        mapping == nullptr ? nullptr
                           : static_cast<const char*>(MapViewOfFile(mapping, kMapRead, 0, 0, 0));
    if (view == nullptr) {
        return 3;
    }
    const auto* const pixels = reinterpret_cast<const std::uint8_t*>(view) + kRegionHeader;
    const bool same = strcmp(view + kRegionName, name) == 0 && SumOf(pixels, length) == sum &&
                      KZSim_FrameNumberIn(pixels, pixel_format::kMono8) == frame;
    return same ? 0 : 4;
}

bool OtherProcessSees(const cam::BufferNode& image) {
    char program[512];
    char length[16];
    char frame[16];
    char sum[16];
    GetModuleFileNameA(nullptr, program, sizeof program);
    sprintf(length, "%u", image.dataLength);
    sprintf(frame, "%u", image.frameNumber);
    sprintf(sum, "%u", SumOf(image.data, image.dataLength));
    return _spawnl(kSpawnAndWait, program, "host", "map", image.sharedName, length, frame, sum,
                   nullptr) == 0;
}

// A module of MSVC's interface, for the framework to call.
class OwnModule final : public CAbstractUserModule {
  public:
    std::uint32_t GetParam(const char*, char*, std::int32_t, std::uint32_t*) override { return 1; }
    std::uint32_t SetParam(const char* key, const char* value, std::int32_t size) override {
        isSet = strcmp(key, "Own") == 0 && strcmp(value, "1") == 0 && size == 1;
        return 0;
    }
    std::uint32_t GetCurrentConfig(ModuleParamList*) override { return 1; }
    std::uint32_t SaveModuleData(SAVE_MODULE_DATA_PARAM*) override { return 1; }
    std::uint32_t LoadModuleData(SAVE_MODULE_DATA_PARAM*) override { return 1; }
    std::uint32_t Init() override { return 1; }
    std::uint32_t DeInit() override { return 1; }

    bool isSet = false;
};

void CallOwnModule() {
    void* const handle = ModuleFrame_CreateHandle(kModuleId, 0);
    {
        OwnModule own;
        own.m_hModule = handle;
        Check(ModuleFrame_SetParam(handle, &own, "Own", "1") == 0 && own.isSet,
              "the framework calls a module of MSVC's interface");
    }
    ModuleFrame_DestroyHandle(handle);
}

struct Library {
    Handle handle;
    CreateFunction* create;
    DestroyFunction* destroy;
};

// Its neighbours, where the host has not loaded them, are beside it; the current folder does not
// count.
Library LoadModule() {
    char path[512];
    GetModuleFileNameA(nullptr, path, sizeof path);
    strncpy(strrchr(path, '\\') + 1, "CameraModule.dll", 20);
    const Handle library =
        LoadLibraryExA(path, nullptr, kLoadFromDllFolder | kLoadFromDefaultFolders);
    if (library == nullptr) {
        printf("FAILED: %s is not loaded, error %u\n", path, GetLastError());
        ExitProcess(1);
    }
    return {library, reinterpret_cast<CreateFunction*>(GetProcAddress(library, "CreateModule")),
            reinterpret_cast<DestroyFunction*>(GetProcAddress(library, "DestroyModule"))};
}

// The record is larger than a stack frame may be without the compiler's run-time library.
SAVE_MODULE_DATA_PARAM g_record;
ModuleParamList g_list;
char g_camera[4096];

const char* SavedValue(const char* name) {
    for (std::int32_t i = 0; i < g_record.params.nNum; ++i) {
        if (strcmp(g_record.params.entries[i].name, name) == 0) {
            return g_record.params.entries[i].value;
        }
    }
    return "";
}

void Grab(CAbstractUserModule* module, void* handle) {
    cam::BufferNode image;
    Check(Set(module, "AddRelateProc", "5") == 0 &&
              ModuleFrame_RunNotifyEvent(handle, kNotifyRelationsChanged, nullptr) == 0xE00000FF,
          "a procedure is related and notified");
    Check(Set(module, "TriggerSoftware", "") == 0 && Eventually([] { return g_seen.asked > 0; }),
          "the procedure is asked about a triggered frame");
    Check(g_seen.frames > 0 && g_seen.handle == handle, "the frame was reported for the handle");
    Check(TakeImage(module, image) && FreeImage(module, image), "the frame that waits is taken");

    Check(Set(module, "TriggerProcessRunStatus", "False") == 0, "frames come on request");
    Check(TakeImage(module, image), "an image is taken on request");
    Check(image.width == 64 && image.height == 48 && image.dataLength == 64 * 48 &&
              image.pixelType == pixel_format::kMono8 && image.capacity >= image.dataLength,
          "its record has the fields of the header");
    Check(KZSim_FrameNumberIn(image.data, image.pixelType) == image.frameNumber,
          "the pixels are those of the frame");
    Check(OtherProcessSees(image), "another process sees them by the region's name");
    Check(FreeImage(module, image), "the image is handed back");
}

void Save(CAbstractUserModule* module, void* handle) {
    Check(ModuleFrame_SetParam(handle, module, "ExposureTime", "4321") == 0 &&
              ModuleFrame_SetParam(handle, module, "WaitForConnectingTime", "5000") == 0,
          "values are set through the framework");
    Check(module->SaveModuleData(&g_record) == 0, "the module is saved");
    Check(strcmp(SavedValue("ExposureTime"), "4321") == 0 &&
              strcmp(SavedValue("AddRelateProc"), "5") == 0,
          "the framework saved its values, the module its relation");
    Check(g_record.hasModuleData == 1 && g_record.binaryCount == 1 &&
              strcmp(g_record.binaries[0].name, "ConnectDeviceInfo") == 0 &&
              g_record.binaries[0].length > 0 && g_record.binaries[0].length <= sizeof g_camera,
          "the camera's record is saved");
    // The module's only until its next save or its end.
    memcpy(g_camera, g_record.binaries[0].data, g_record.binaries[0].length);
    g_record.binaries[0].data = g_camera;
}

int Run() {
    Check(KZSim_Configure(kCameras) == 0, "cameras are simulated");
    XalogHost_SetStandardError(false);
    XalogHost_SetSink(&OnLogLine, nullptr);
    Xalog_ResetLevel(1);
    Xalog_LogPrint(4, "%d %s %.2f %llu", -42, "text", 2.5, 4'294'967'296ULL);
    XalogHost_Flush();
    Check(g_seen.arguments, "integer, text and double arrive in the log");
    const ModuleFrameObserver observer{nullptr, &OnReport, nullptr, &OnProcedure};
    ModuleFrame_SetObserver(&observer);

    CallOwnModule();

    const Library library = LoadModule();
    void* const handle = ModuleFrame_CreateHandle(kModuleId, 0);
    CAbstractUserModule* const first = library.create(handle);
    Check(first != nullptr && first->m_hModule == handle,
          "a module is created, its handle in place");
    XalogHost_Flush();
    Check(g_seen.initLine, "the module's log lines carry name, number and text");
    Check(first->Reserved() == 0, "slot 1 answers 0");
    Check(Set(first, "EnumCamera", "") == 0 && strstr(Get(first, "CameraName"), "A1") != nullptr,
          "the camera is listed");
    Check(ModuleFrame_SetParam(handle, first, "CameraName", "A1") == 0 && g_seen.online == 1,
          "the camera is opened");
    Grab(first, handle);
    Check(first->GetCurrentConfig(&g_list) == 0, "the configuration is read");
    Save(first, handle);
    library.destroy(handle, first);
    Check(ModuleFrame_GlobalCameraNum() == 0, "the first module is destroyed by DestroyModule");

    void* const handle2 = ModuleFrame_CreateHandle(kModuleId, 0);
    CAbstractUserModule* const second = library.create(handle2);
    Check(second != nullptr && second->LoadModuleData(&g_record) == 0, "a second module loads");
    Check(Eventually([&] {
              return g_seen.online == 2 && strcmp(Get(second, "SerialNumber"), "A1") == 0 &&
                     strncmp(Get(second, "ExposureTime"), "4321", 4) == 0;
          }),
          "it opens the saved camera with the saved exposure time");
    Check(second->DeInit() == 0 && second->Init() == 0, "it ends and begins again");
    delete second;
    Check(HeapValidate(_get_heap_handle(), 0, second) == 0, "slot 0 with its flag frees a module");

    CAbstractUserModule* const third = library.create(handle2);
    third->~CAbstractUserModule();
    Check(HeapValidate(_get_heap_handle(), 0, third) != 0, "slot 0 without the flag leaves memory");

    ModuleFrame_DestroyHandle(handle2);
    ModuleFrame_DestroyHandle(handle);
    ModuleFrame_SetObserver(nullptr);
    XalogHost_SetSink(nullptr, nullptr);
    return FreeLibrary(library.handle) != 0 ? 0 : 1;
}

struct Usage {
    std::uint32_t threads;
    std::uint32_t handles;
    std::size_t nextHandle;  // a system that reuses handles gives the lowest free one
    std::size_t memory;
};

Usage UsageNow() {
    Usage usage{};
    ThreadEntry entry{};
    entry.size = sizeof entry;
    const Handle snapshot = CreateToolhelp32Snapshot(kSnapshotThreads, 0);
    for (int more = Thread32First(snapshot, &entry); more != 0;
         more = Thread32Next(snapshot, &entry)) {
        usage.threads += entry.process == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(snapshot);
    GetProcessHandleCount(GetCurrentProcess(), &usage.handles);
    const Handle event = CreateEventA(nullptr, 0, 0, nullptr);
    usage.nextHandle = reinterpret_cast<std::size_t>(event);
    CloseHandle(event);
    ProcessMemory memory{};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
    usage.memory = memory.pagefileUsage;
    return usage;
}

void Print(const char* when, const Usage& usage) {
    printf("%s: %u threads, %u handles (next %u), %u KiB\n", when, usage.threads, usage.handles,
           static_cast<unsigned>(usage.nextHandle), static_cast<unsigned>(usage.memory / 1024));
}

void LoadAndUnload(int times) {
    for (int i = 0; i < times; ++i) {
        const Library library = LoadModule();
        void* const handle = ModuleFrame_CreateHandle(kModuleId, 0);
        CAbstractUserModule* const module = library.create(handle);
        if (module == nullptr) {
            Check(false, "a module is created after each load");
        }
        library.destroy(handle, module);
        ModuleFrame_DestroyHandle(handle);
        FreeLibrary(library.handle);
        if (GetModuleHandleA("CameraModule.dll") != nullptr) {
            Check(false, "the library is unloaded");
        }
    }
}

int LoadOften(int times) {
    XalogHost_SetStandardError(false);
    KZSim_Configure(kCameras);
    LoadAndUnload(kFirstLoads);
    const Usage before = UsageNow();
    Print("before", before);
    LoadAndUnload(times);
    const Usage after = UsageNow();
    Print("after", after);
    Check(after.threads == before.threads, "no thread is left behind");
    Check(after.handles == before.handles && after.nextHandle == before.nextHandle,
          "no handle is left behind");
    Check(after.memory < before.memory + kMemoryLeft, "no memory worth mentioning is left behind");
    return 0;
}

}  // namespace

extern "C" int Entry() {
    const char* const map = strstr(GetCommandLineA(), " map ");
    const char* const loads = strstr(GetCommandLineA(), " loads");
    ExitProcess(static_cast<unsigned>(map != nullptr     ? MapRegion(map)
                                      : loads != nullptr ? LoadOften(kLoads)
                                                         : Run()));
}
