/// \file
/// Start and stop of the library. The host calls `Init_Kelvane` before use and `Deinit_Kelvane` at the
/// end, from one thread; pairs may nest, and only the outermost one does work.
#pragma once

#include <cstdint>
#include <string>

#include "kelvane/module/export.h"

extern "C" {

/// Starts the library: the first of nested calls starts the host's data-container module and registers
/// the transform "sat_affine". What that throws passes through, the call then not counted.
KELVANE_API void Init_Kelvane();

/// Ends one start; the last of nested calls undoes the first `Init_Kelvane`. Without a start standing it
/// does nothing.
KELVANE_API void Deinit_Kelvane();
}

/// Passes a debug message to the host. Throws `std::logic_error` for a null pointer.
KELVANE_API void KaPrintDbgMsg(const char* text);

/// The parts of a module's file name.
struct TKaModuleFile {
  std::string Path;             ///< the full file name
  std::string Directory;        ///< up to and including the last slash or backslash
  std::string FileName;         ///< what stands behind it
  std::string Extension{"so"};  ///< what stands behind the file name's last dot; empty without one
};

/// Splits a module's full file name.
KELVANE_API TKaModuleFile KaSplitModulePath(const std::string& path);

/// Whether the module runs, and where its file is. One instance a process.
class KELVANE_API KaModule_Initializer {
 public:
  /// The process's instance, made on first use.
  static KaModule_Initializer& Instance();

  KaModule_Initializer(const KaModule_Initializer&) = delete;
  KaModule_Initializer& operator=(const KaModule_Initializer&) = delete;

  /// `Init_Kelvane` and `Deinit_Kelvane`.
  void init();
  void deinit();

  /// How many starts stand.
  std::uint64_t ReferenceCount() const { return reference_count_; }
  /// "Kelvane".
  const std::string& Name() const { return name_; }
  /// The module's own file; empty, with the extension "so", until the first start.
  const TKaModuleFile& File() const { return file_; }

  /// The library's own part of a first start and of a last stop; `init` and `deinit` call them.
  void local_init();
  void local_deinit();

 private:
  class TLocalData;

  KaModule_Initializer() = default;

  std::uint64_t reference_count_ = 0;
  std::string name_ = "Kelvane";
  TKaModuleFile file_;
  TLocalData* local_data_ = nullptr;
};
