// The two functions a host calls by name.
#pragma once

class CAbstractUserModule;

extern "C" {

// Creates one camera tool's module for the framework's `handle`; null on failure, with the reason
// set by CQ_M_SetLastError. The host frees it with DestroyModule.
CAbstractUserModule* CreateModule(void* handle);

// Ends the module's threads, closes its camera and frees it; a null `module` does nothing. Must not
// be called from inside one of its notices.
void DestroyModule(void* handle, CAbstractUserModule* module);

}  // extern "C"
