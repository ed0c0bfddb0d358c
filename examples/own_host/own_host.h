/// \file
/// What applications of this host may use beside the services that the library declares.
#pragma once

#include <string>
#include <vector>

#include "kelvane/module/host/ini.h"

/// Writes this host's configurations: lines "key=value", sections between "[name" and "]", points "key=x y".
class KELVANE_HOST_API TOwnWriter : public TKaXIniWriter {
 public:
  const std::string& Text() const { return text_; }

  unsigned long BeginSection(const std::string& name) override;
  bool EndSection(unsigned long handle) override;
  bool WritePoint(const std::string& name, const xy_d& point) override;

 protected:
  bool PutValue(const std::string& key, const double& value) override;
  bool PutValue(const std::string& key, const int& value) override;
  bool PutValue(const std::string& key, const unsigned long& value) override;
  bool PutValue(const std::string& key, const bool& value) override;
  bool PutValue(const std::string& key, const std::string& value) override;

 private:
  std::string text_;
  unsigned long open_ = 0;
};

/// All debug messages so far.
KELVANE_HOST_API const std::vector<std::string>& OwnDbgMessages();
