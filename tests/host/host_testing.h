/// \file
/// What the tests of the host share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/ini_xml.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/message.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/var_a.h"
#include "tests/support/errors.h"
#include "tests/support/files.h"

inline var_a<TKaStream*> StreamOf(std::string text) { return new_a<TKaStringStream>(std::move(text)); }

inline std::string TextOf(const TKaXIniXmlWriter& writer) {
  TKaStringStream stream;
  EXPECT_TRUE(writer.Save(&stream));
  return stream.Text();
}

inline std::string Repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

/// Runs the action in four threads at once; it is told which of them it is.
template <class TAction>
void InFourThreads(TAction action) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(action, i);
  for (std::thread& thread : threads) thread.join();
}

/// The message that the action throws as a TKaMessage; "" when it throws none.
template <class TAction>
std::string MessageOf(TAction action) {
  return test::ErrorOf<TKaMessage>(action);
}

/// A progress handler that notes what it is told and stops at a number.
class TStopAt : public TKaProgressHandler {
 public:
  explicit TStopAt(double stop) : stop_(stop) {}
  bool OnProgress(double done) override {
    Told.push_back(done);
    return done < stop_;
  }
  std::vector<double> Told;

 private:
  double stop_;
};

using test::Contains;
