/// \file
/// The reference host's configuration writer. The reader is `TKaXIniStreamReader`, declared with the
/// host's services. The form is described in docs/formats.md.
#pragma once

#include <memory>
#include <string>

#include "kelvane/module/export.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/stream.h"

/// Builds a configuration in memory and writes it out whole.
class KELVANE_HOST_API TKaXIniXmlWriter : public TKaXIniWriter {
 public:
  TKaXIniXmlWriter();
  ~TKaXIniXmlWriter() override;

  /// Writes the document to the stream. False when a section is still open or the stream does not take
  /// all of it.
  bool Save(TKaStream* stream) const;

  unsigned long BeginSection(const std::string& name) override;
  bool EndSection(unsigned long handle) override;
  bool WritePoint(const std::string& name, const xy_d& point) override;

 protected:
  /// False for a key that is empty, and for a zero byte in key or text.
  bool PutValue(const std::string& key, const double& value) override;
  bool PutValue(const std::string& key, const int& value) override;
  bool PutValue(const std::string& key, const unsigned long& value) override;
  bool PutValue(const std::string& key, const bool& value) override;
  bool PutValue(const std::string& key, const std::string& value) override;

 private:
  struct TDocument;
  std::unique_ptr<TDocument> document_;
};
