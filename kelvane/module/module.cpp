#include "kelvane/module/module.h"

#include <dlfcn.h>

#include "kelvane/module/host/runtime.h"
#include "kelvane/transforms/transform_registration.h"

void Init_Kelvane() { KaModule_Initializer::Instance().init(); }

void Deinit_Kelvane() { KaModule_Initializer::Instance().deinit(); }

void KaPrintDbgMsg(const char* text) { KaPrintDbgMsg(std::string(text)); }

namespace {

std::string OwnFileName() {
  Dl_info info{};
  // The address of a function of this library belongs to the file that the loader mapped it from.
  if (dladdr(reinterpret_cast<const void*>(&Init_Kelvane), &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  return info.dli_fname;
}

}  // namespace

TKaModuleFile KaSplitModulePath(const std::string& path) {
  TKaModuleFile file;
  file.Path = path;
  const std::size_t separator = path.find_last_of("/\\");
  const std::size_t name = separator == std::string::npos ? 0 : separator + 1;
  file.Directory = path.substr(0, name);
  file.FileName = path.substr(name);
  const std::size_t dot = file.FileName.rfind('.');
  file.Extension = dot == std::string::npos ? std::string() : file.FileName.substr(dot + 1);
  return file;
}

/// Registers the library's transforms for as long as it lives.
class KaModule_Initializer::TLocalData {
 public:
  TLocalData() { SatCommonUtils::U_InitTransforms_Initialize(); }
  // A finaliser that throws ends the process: destructors are noexcept.
  ~TLocalData() { SatCommonUtils::U_InitTransforms_Finalize(); }
  TLocalData(const TLocalData&) = delete;
  TLocalData& operator=(const TLocalData&) = delete;
};

KaModule_Initializer& KaModule_Initializer::Instance() {
  static KaModule_Initializer instance;
  return instance;
}

void KaModule_Initializer::init() {
  if (reference_count_ == 0) {
    Init_KaDataContainer();
    try {
      file_ = KaSplitModulePath(OwnFileName());
      local_init();
    } catch (...) {
      Deinit_KaDataContainer();
      throw;
    }
  }
  ++reference_count_;
}

void KaModule_Initializer::deinit() {
  if (reference_count_ == 0) return;
  if (--reference_count_ == 0) {
    local_deinit();
    Deinit_KaDataContainer();
  }
}

void KaModule_Initializer::local_init() { local_data_ = new TLocalData; }

// The pointer stays as it was: only the next start, which overwrites it, makes it count again.
void KaModule_Initializer::local_deinit() { delete local_data_; }
