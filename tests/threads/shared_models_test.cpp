#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "host/ini_xml.h"
#include "host/runtime.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/footprint.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/robust_estimation.h"
#include "kelvane/rpc/rpc_batch.h"
#include "tests/support/failing_ini.h"
#include "tests/support/records.h"

namespace {

using namespace SatCommonUtils;
using Numbers = std::vector<double>;

const TRPCRefinementDataAffine Refinement{{12.5, 1.0003, -2e-4, -7.25, 3e-4, 0.9996}};

/// What several callers may do with models at the same time.
Numbers EverythingOf(const TRPC& model, const TRPC& other) {
  // Enough for several threads of each caller's own.
  constexpr std::size_t Count = 20000;
  TRPCData data;
  model.GetRPCData(&data);
  Numbers results[8];
  for (Numbers& column : results) column.resize(Count);
  auto& [lat, lon, h, line, sample, other_line, other_sample, residual] = results;
  for (std::size_t i = 0; i < Count; ++i) {
    const double x = static_cast<double>(i) / Count - 0.5;
    lat[i] = data.LatitudeOffset + data.LatitudeScale * x;
    lon[i] = data.LongitudeOffset - data.LongitudeScale * x;
    h[i] = data.HeightOffset + data.HeightScale * x * x;
  }
  CalculateLineSamples(model, Count, lat.data(), lon.data(), h.data(), line.data(), sample.data());
  CalculateLineSamples(other, Count, lat.data(), lon.data(), h.data(), other_line.data(),
                       other_sample.data());
  TRPCBatchReport report;
  report.Residual = residual.data();
  SolveLatLons(model, Count, line.data(), sample.data(), h.data(), lat.data(), lon.data(), report);
  const TRPC* const models[] = {&model, &other};
  const double* const lines[] = {line.data(), other_line.data()};
  const double* const samples[] = {sample.data(), other_sample.data()};
  SolveLatLonHs(models, 2, Count, lines, samples, lat.data(), lon.data(), h.data());

  TRPCEstimationDataSet seen;
  for (std::size_t i = 0; i < 60; ++i) {
    const auto turn = [i](std::size_t k) { return static_cast<double>((i * k) % 59) / 29.5 - 1.0; };
    TRPCEstimationDataItem item = {data.LatitudeOffset + data.LatitudeScale * turn(7),
                                   data.LongitudeOffset + data.LongitudeScale * turn(11),
                                   data.HeightOffset + data.HeightScale * turn(23), 0.0, 0.0};
    model.CalculateLineSample(item.Latitude, item.Longitude, item.Height, &item.Line, &item.Sample, nullptr,
                              nullptr);
    seen.Items.push_back(item);
  }
  TRPCFitOptions options;
  options.Threads = 2;
  TRPCData fitted;
  TRPCFitReport fit;
  FitRPC(seen, options, &fitted, &fit);

  TGroundSampleDistance distance;
  CalculateGroundSampleDistance(model, &distance);
  Numbers all = {distance.Line, distance.Sample, fitted.LineNum[1], fitted.SampleNum[2]};
  for (const Numbers& column : results) all.insert(all.end(), column.begin(), column.end());
  return all;
}

TEST(SharedModels, AreReadByManyAtATime) {
  const TRPCData data = test::SampleRecord("pleiades_1.xml");
  const TRPC plain(data, nullptr);
  const TAdjustedRPC adjusted(data, nullptr, &Refinement);
  for (const TRPC* model : {&plain, static_cast<const TRPC*>(&adjusted)})
    ASSERT_TRUE(model->EnsureApproximation());
  KaSetThreadsCount(2);
  const Numbers alone = EverythingOf(plain, adjusted);
  const std::string xml = test::XmlOf(adjusted);
  Numbers found[3];
  std::string texts[3];
  std::vector<std::thread> callers;
  for (std::size_t i = 0; i < 3; ++i) {
    callers.emplace_back([&, i] {
      found[i] = EverythingOf(plain, adjusted);
      texts[i] = test::XmlOf(adjusted);
    });
  }
  for (std::thread& caller : callers) caller.join();
  for (const Numbers& numbers : found) EXPECT_TRUE(numbers == alone);
  for (const std::string& text : texts) EXPECT_TRUE(text == xml);
  KaSetThreadsCount(0);
}

}  // namespace
