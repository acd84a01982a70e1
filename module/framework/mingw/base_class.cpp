// The base class in a GCC-built library. A framework built with MSVC exports the class's functions
// under MSVC's names, but neither table nor type information: those are defined here, and the
// framework's functions are called by name.
#include "module/framework/module_frame.h"
#include "module/framework/status_codes.h"

extern "C" {

// In quotes, because the assembler accepts no bare '?' in a name.
void* FrameConstruct(void* module) asm(R"("??0CAbstractUserModule@@QEAA@XZ")");
void FrameDestroy(void* module) asm(R"("??1CAbstractUserModule@@UEAA@XZ")");
std::uint32_t FrameReserved(void* module) asm(R"("?Reserved@CAbstractUserModule@@UEAAIXZ")");
std::uint32_t FrameSaveModuleData(void* module, SAVE_MODULE_DATA_PARAM* record) asm(
    R"("?SaveModuleData@CAbstractUserModule@@UEAAIPEAUSAVE_MODULE_DATA_PARAM@@@Z")");

}  // extern "C"

CAbstractUserModule::CAbstractUserModule() {
    FrameConstruct(this);
}

CAbstractUserModule::~CAbstractUserModule() {
    FrameDestroy(this);
}

std::uint32_t CAbstractUserModule::Reserved() {
    return FrameReserved(this);
}

std::uint32_t CAbstractUserModule::SaveModuleData(SAVE_MODULE_DATA_PARAM* record) {
    return FrameSaveModuleData(this, record);
}

// The table refers to these too; every module has its own.

void* CAbstractUserModule::DeletingDestructor(std::uint32_t) {
    return this;
}

std::uint32_t CAbstractUserModule::GetParam(const char*, char*, std::int32_t, std::uint32_t*) {
    return cam::kInvalid;
}

std::uint32_t CAbstractUserModule::SetParam(const char*, const char*, std::int32_t) {
    return cam::kInvalid;
}

std::uint32_t CAbstractUserModule::GetCurrentConfig(ModuleParamList*) {
    return cam::kInvalid;
}

std::uint32_t CAbstractUserModule::LoadModuleData(SAVE_MODULE_DATA_PARAM*) {
    return cam::kInvalid;
}

std::uint32_t CAbstractUserModule::Init() {
    return cam::kInvalid;
}

std::uint32_t CAbstractUserModule::DeInit() {
    return cam::kInvalid;
}
