// The two entries of the base class that MSVC's interface has and GCC does not generate.
#include <new>

#include "module/framework/module_frame.h"

// MSVC's constructors return the object, and its callers rely on that.
extern "C" void* ModuleFrame_ConstructBase(void* place) {
    return ::new (place) CAbstractUserModule;
}

void* CAbstractUserModule::DeletingDestructor(std::uint32_t flags) {
    this->~CAbstractUserModule();
    if ((flags & kFreeModule) != 0) {
        ::operator delete(this);
    }
    return this;
}
