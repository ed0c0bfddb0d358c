#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/runtime.h"
#include "kelvane/geometry/polygon_mif.h"
#include "kelvane/module/host/text.h"
#include "kelvane/module/module.h"
#include "kelvane/numeric/linear_solvers.h"
#include "kelvane/numeric/polynomial_approximation.h"
#include "kelvane/numeric/raw_matrix.h"
#include "kelvane/numeric/raw_products.h"
#include "kelvane/numeric/sparse_vector.h"
#include "kelvane/orientation/angle_unit_set.h"
#include "kelvane/orientation/attitude_angles.h"
#include "kelvane/rpc/adjusted_rpc.h"
#include "kelvane/rpc/footprint.h"
#include "kelvane/rpc/ground_solution.h"
#include "kelvane/rpc/refinement_estimation.h"
#include "kelvane/rpc/robust_estimation.h"
#include "kelvane/rpc/rpc_batch.h"
#include "kelvane/rpc/rpc_estimation.h"
#include "kelvane/rpc/rpc_exchange_dataset.h"
#include "kelvane/rpc/rpc_vendor_xml.h"
#include "kelvane/transforms/similarity_3d.h"
#include "tests/rpc/ground_cube.h"
#include "tests/support/allocations.h"
#include "tests/support/failing_ini.h"
#include "tests/support/files.h"
#include "tests/support/matrices.h"
#include "tests/support/records.h"
#include "tests/support/vendor_xml.h"

namespace {

using namespace SatCommonUtils;

/// What work without memory leaves of what it works on.
enum class Leaves { Unchanged, Usable };

/// Things that allocate, tried one after the other.
struct Table {
  /// `act(&subject)` on what `make()` gives; `view(subject)` is what counts of it. Without memory it throws
  /// or is false, and leaves what can be used again.
  template <class Make, class Act, class View>
  void Try(const std::string& name, Leaves leaves, Make make, Act act, View view, long dense = 300) {
    // What is made once for all is made here.
    auto whole = make();
    EXPECT_TRUE(act(&whole)) << name;
    const auto attempt = [=, expected = view(whole)](test::FailingAllocation failing) {
      auto subject = make();
      const auto before = view(subject);
      bool done = false;
      const test::Outcome outcome = test::Without(failing, [&] { done = act(&subject); });
      EXPECT_NE(done, outcome.failed) << "it has failed without a word, or for no reason";
      EXPECT_TRUE(done || leaves == Leaves::Usable || view(subject) == before);
      EXPECT_TRUE(done || leaves == Leaves::Unchanged || act(&subject)) << "not to be used again";
      EXPECT_TRUE((!done && leaves == Leaves::Unchanged) || view(subject) == expected);
      return outcome;
    };
    SCOPED_TRACE(name);
    test::ForEachFailingAllocation(attempt, dense);
  }
};

const auto Itself = [](const auto& subject) { return subject; };
const auto AsXml = [](const auto& object) { return test::XmlOf(object); };
const auto AsValues = [](const auto& numbers) { return test::ValuesOf(numbers); };
const auto Nothing = [] { return std::string(); };
const auto Record = [] { return TRPCData(); };

/// Tries what reads a text. `read(stream, record)`.
template <class Read>
void TryReading(Table* table, const std::string& name, Leaves leaves, const std::string& text, Read read) {
  const auto act = [=](TRPCData* record) {
    TKaStringStream stream(text);
    return read(&stream, record);
  };
  table->Try(name, leaves, Record, act, AsXml);
}

/// Tries what writes a text. `write(stream)`.
template <class Write>
void TryWriting(Table* table, const std::string& name, Write write) {
  const auto act = [=](std::string* text) {
    TKaStringStream stream;
    const bool written = write(&stream);
    *text = stream.Text();
    return written;
  };
  table->Try(name, Leaves::Usable, Nothing, act, Itself);
}

template <class Write>
std::string TextOf(Write write) {
  TKaStringStream stream;
  write(&stream);
  return stream.Text();
}

void TryTexts(Table* table) {
  const TRPCData record = test::NumberedRecord();
  const auto to_text = [=](TKaStream* stream) { return record.SaveToText(stream, "", ""); };
  const auto to_rpb = [=](TKaStream* stream) {
    return record.SaveToRPB(stream, "a satellite of that name", "P", 1.0, 2.0);
  };
  TryWriting(table, "RpcTextWritten", to_text);
  TryWriting(table, "RpbWritten", to_rpb);
  TryReading(table, "RpcTextRead", Leaves::Usable, TextOf(to_text), [](TKaStream* stream, TRPCData* read) {
    TRPBHeader header;
    std::string problem;
    return read->InitializeFromText(stream, &header, &problem);
  });
  TryReading(table, "RpcTextNumbers", Leaves::Unchanged, TextOf(to_text), [](TKaStream* stream, TRPCData*) {
    std::string problem;
    return RPCTextNumbersAreWhole(stream, &problem);
  });
  TryReading(table, "RpbRead", Leaves::Unchanged, TextOf(to_rpb), [](TKaStream* stream, TRPCData* read) {
    TRPBHeader header;
    std::string problem;
    return read->InitializeFromRPB(new_a<TKaStringStream>(static_cast<TKaStringStream*>(stream)->Text()),
                                   &header, &problem);
  });
  for (const auto& [name, text] :
       {std::pair("Dimap", test::DimapText(record)), std::pair("Isd", test::IsdText(record))}) {
    TryReading(table, name, Leaves::Unchanged, text, [](TKaStream* stream, TRPCData* read) {
      TRPBHeader header;
      std::string problem;
      return ReadVendorXml(stream, read, &header, &problem);
    });
  }

  TMIFLayer layer;
  layer.Columns = {{"number", "Integer"}, {"a_column_with_a_long_name", "Char(60)"}};
  layer.Regions = {{{TPolygon({{0, 0}, {1, 0}, {0, 1}}), TPolygon({{5, 5}, {6, 5}, {5, 6}})},
                    {"1", "a text that needs memory of its own"}},
                   {{}, {"2", ""}}};
  const auto write = [](const TMIFLayer& what, std::string* mif, std::string* mid) {
    TKaStringStream mif_stream;
    TKaStringStream mid_stream;
    std::string problem;
    const bool written = WriteMIF(what, &mif_stream, &mid_stream, &problem);
    *mif = mif_stream.Text();
    *mid = mid_stream.Text();
    return written;
  };
  std::string mif;
  std::string mid;
  write(layer, &mif, &mid);
  table->Try(
      "MifWritten", Leaves::Usable, [] { return std::vector<std::string>(2); },
      [=](std::vector<std::string>* texts) { return write(layer, &texts->front(), &texts->back()); }, Itself);
  table->Try(
      "MifRead", Leaves::Unchanged, [] { return TMIFLayer(); },
      [=](TMIFLayer* read) {
        TKaStringStream mif_stream(mif);
        TKaStringStream mid_stream(mid);
        std::string problem;
        return ReadMIF(&mif_stream, &mid_stream, read, &problem);
      },
      [=](const TMIFLayer& read) {
        std::vector<std::string> texts(2);
        write(read, &texts.front(), &texts.back());
        return texts;
      });

  table->Try(
      "VectorText", Leaves::Unchanged, [] { return TVector(2); },
      [](TVector* v) { return (*v = TVector("(1;2.5;3)")).GetString() == "(1;2.5;3)"; }, AsValues);
  table->Try(
      "PolynomeText", Leaves::Unchanged, [] { return TPolynome("(7)"); },
      [](TPolynome* p) {
        TPolynome read(0, nullptr);
        return read.Initialize("(0.1;-2;1e300)") && (*p = read) == read;
      },
      [](const TPolynome& p) { return p.GetCoefsString(); });
  table->Try(
      "MatrixText", Leaves::Usable, Nothing,
      [](std::string* text) {
        return !(*text = test::Matrix(2, {1, 2, 3, 4}).Output()).empty();
      },
      Itself);
  table->Try(
      "SparseVector", Leaves::Unchanged, [] { return TSparseVector(2, 1); },
      [](TSparseVector* v) {
        const TSparseVector read("(1;0;2.5;3)");
        *v = read;
        return true;
      },
      [](const TSparseVector& v) { return v.Elements(); });
  table->Try(
      "PvlAsXml", Leaves::Usable, Nothing,
      [text = TextOf(to_rpb)](std::string* xml) {
        const auto out = new_a<TKaStringStream>();
        PVLtoXML(new_a<TKaStringStream>(text), out);
        *xml = out->Text();
        return true;
      },
      Itself);
}

/// Names and sizes of what stands in a folder.
std::vector<std::string> Listed(const test::ScratchFolder& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path(""))) {
    files.push_back(entry.path().filename().string() + ' ' + std::to_string(entry.file_size()));
  }
  std::sort(files.begin(), files.end());
  return files;
}

TCipherRPCImpExpDataset TwoModels() {
  TCipherRPCImpExpDataset set;
  TRPBHeader header;
  header.SatId = "a satellite that has a long name";
  set.Add({"the first of the two models", "a_file_of_some_name.tif", test::NumberedRecord(), header},
          nullptr);
  set.Add({"b", "", test::IdentityRecord(), {}}, nullptr);
  return set;
}

std::string DocumentOf(const TCipherRPCImpExpDataset& set) {
  return TextOf([&](TKaStream* stream) { set.SaveToDocument(stream, nullptr); });
}

void TryDatasets(Table* table) {
  const auto two = std::make_shared<TCipherRPCImpExpDataset>(TwoModels());
  TryWriting(table, "DatasetWritten", [=](TKaStream* stream) {
    std::string problem;
    return two->SaveToDocument(stream, &problem);
  });
  const auto one = [] {
    TCipherRPCImpExpDataset set;
    set.Add({"one", "", test::IdentityRecord(), {}}, nullptr);
    return set;
  };
  table->Try(
      "DatasetRead", Leaves::Unchanged, one,
      [text = DocumentOf(*two)](TCipherRPCImpExpDataset* set) {
        TKaStringStream stream(text);
        std::string problem;
        return set->InitializeFromDocument(&stream, &problem);
      },
      DocumentOf);
  const auto scratch = [] { return std::make_unique<test::ScratchFolder>(); };
  const auto listed = [](const std::unique_ptr<test::ScratchFolder>& folder) { return Listed(*folder); };
  table->Try(
      "DatasetExported", Leaves::Unchanged, scratch,
      [=](std::unique_ptr<test::ScratchFolder>* folder) {
        std::string problem;
        return two->ExportToFolder((*folder)->Path(""), TE_RPCFileForm::Text, TE_FilePlace::Free, &problem);
      },
      listed, 20);
  const auto filled = std::make_shared<test::ScratchFolder>();
  two->ExportToFolder(filled->Path(""), TE_RPCFileForm::RPB, TE_FilePlace::Free, nullptr);
  table->Try(
      "DatasetImported", Leaves::Usable, one,
      [=](TCipherRPCImpExpDataset* set) {
        std::string problem;
        // A file that cannot be taken is passed over.
        return set->ImportFolder(filled->Path(""), nullptr, &problem) && set->Models().size() == 3;
      },
      [](const TCipherRPCImpExpDataset& set) { return set.Models().size(); });
  table->Try(
      "MifFile", Leaves::Unchanged, scratch,
      [](std::unique_ptr<test::ScratchFolder>* folder) {
        std::string problem;
        TMIFLayer layer;
        layer.Regions = {{{TPolygon({{0, 0}, {1, 0}, {0, 1}})}, {}}};
        return WriteMIFFile((*folder)->Path("layer.mif"), layer, &problem);
      },
      listed, 20);
}

/// What a model sees of its cube.
TRPCEstimationDataSet Seen(std::size_t count) {
  const TRPCData record = test::BentRecord();
  const TRPC model(record, nullptr);
  test::GroundCube cube(record);
  TRPCEstimationDataSet data;
  for (std::size_t i = 0; i < count; ++i) data.Items.push_back(test::SeenBy(model, cube.Anywhere()));
  return data;
}

std::pair<std::string, test::Values> WholeEstimate(const TRefinementEstimate& estimate) {
  test::Values all = {static_cast<double>(estimate.Kept),
                      static_cast<double>(estimate.MostBlunders),
                      estimate.RmsBefore,
                      estimate.RmsAfter,
                      estimate.RejectedBeyond,
                      estimate.Spread};
  for (const auto& covariance : {estimate.Covariance.Line, estimate.Covariance.Sample}) {
    for (std::size_t i = 0; i < 3; ++i) all.insert(all.end(), covariance[i], covariance[i] + 3);
  }
  for (const TRefinementPoint& point : estimate.Points) {
    all.insert(all.end(),
               {point.Rejected ? 1.0 : 0.0, point.LineBefore, point.SampleBefore, point.Line, point.Sample});
  }
  return {test::XmlOf(estimate.Refinement) + test::XmlOf(TRPCRefinementDataAffine{estimate.Deviations}) +
              estimate.Problem,
          all};
}

void TryFits(Table* table) {
  const auto seen = std::make_shared<TRPCEstimationDataSet>(Seen(60));
  TRPCFitOptions options;
  options.Weights = TE_RPCFitWeights::Tukey;
  options.MaxDegree = 2;
  const auto fit = [](const TRPCEstimationDataSet& data, const TRPCFitOptions& how, TRPCData* record) {
    TRPCFitReport report;
    return FitRPC(data, how, record, &report);
  };
  table->Try(
      "EstimateTogether", Leaves::Unchanged, Record,
      [=](TRPCData* record) { return EstimateRPC(*seen, record); }, AsXml, 100);
  table->Try(
      "EstimateApart", Leaves::Unchanged, Record,
      [=](TRPCData* record) { return EstimateRPC(*seen, record, nullptr, nullptr); }, AsXml, 100);
  table->Try(
      "Fit", Leaves::Unchanged, Record, [=](TRPCData* record) { return fit(*seen, options, record); }, AsXml,
      20);
  // So many that line and sample are fitted side by side.
  const auto many = std::make_shared<TRPCEstimationDataSet>(Seen(4096));
  table->Try(
      "EstimateBesides", Leaves::Unchanged, Record,
      [=](TRPCData* record) { return EstimateRPC(*many, record, nullptr, nullptr); }, AsXml, 2);
  options.Threads = 2;
  options.MaxDegree = 1;
  table->Try(
      "FitBesides", Leaves::Unchanged, Record, [=](TRPCData* record) { return fit(*many, options, record); },
      AsXml, 2);
  const auto model = std::make_shared<TRPC>(test::BentRecord(), nullptr);
  table->Try(
      "EstimateInverted", Leaves::Usable, Record,
      [=](TRPCData* record) { return EstimateInvertedRPC(*model, record, 4, nullptr); }, AsXml, 50);
  table->Try(
      "CreateInverted", Leaves::Unchanged, [] { return std::make_unique<TRPC>(test::BentRecord(), nullptr); },
      [](std::unique_ptr<TRPC>* of) { return (*of)->CreateInvertedRPC(4); },
      [](const std::unique_ptr<TRPC>& of) {
        const var_a<TRPC*> inverted = of->GetInvertedRPC();
        return inverted ? test::XmlOf(*inverted) : std::string();
      },
      50);
  table->Try(
      "Approximation", Leaves::Unchanged, [] { return std::make_unique<TRPC>(test::BentRecord(), nullptr); },
      [](std::unique_ptr<TRPC>* of) { return (*of)->EnsureApproximation(); },
      [](const std::unique_ptr<TRPC>& of) { return test::XmlOf(*of); });
  table->Try(
      "Refinement", Leaves::Unchanged, [] { return TRefinementEstimate(); },
      [=](TRefinementEstimate* estimate) {
        return EstimateRefinement(*model, {seen->Items.begin(), seen->Items.begin() + 9},
                                  TE_RefinementKind::Affine, estimate);
      },
      WholeEstimate);
}

void TryModels(Table* table) {
  const auto data = test::SampleRecord("pleiades_1.xml");
  const TRPCRefinementDataAffine shift = {{0.5, 1.0, 0.0, -0.5, 0.0, 1.0}};
  const TPolygon margin({{0, 0}, {1, 0}, {0, 1}});
  const auto plain = std::make_shared<TRPC>(data, &margin);
  const auto refined = std::make_shared<TAdjustedRPC>(data, &margin, &shift);
  using Copy = var_a<TRPC*>;
  const auto try_copy = [&](const std::string& name, const std::shared_ptr<TRPC>& model) {
    table->Try(
        name, Leaves::Unchanged, [] { return Copy(); },
        [=](Copy* copy) { return static_cast<bool>(*copy = model->CreateVCopy()); },
        [](const Copy& copy) { return copy ? test::XmlOf(*copy) : std::string(); });
  };
  try_copy("ModelCopied", plain);
  try_copy("RefinedModelCopied", refined);
  using RefinementCopy = var_a<TRPCRefinementDataAffine*>;
  table->Try(
      "RefinementCopied", Leaves::Unchanged, [] { return RefinementCopy(); },
      [=](RefinementCopy* copy) { return static_cast<bool>(*copy = shift.CreateCopyN()); },
      [](const RefinementCopy& copy) { return copy ? test::XmlOf(*copy) : std::string(); });
  table->Try(
      "ExportedExactly", Leaves::Unchanged, Record,
      [=](TRPCData* record) { return refined->ExportExactly(record); }, AsXml);

  struct Pair {
    TRPC A{test::SampleRecord("pleiades_1.xml"), nullptr};
    TRPC B{test::SampleRecord("pleiades_2.xml"), nullptr};
    test::Values Ground = test::Values(5);
  };
  table->Try(
      "Intersection", Leaves::Usable, [] { return std::make_unique<Pair>(); },
      [=](std::unique_ptr<Pair>* both) {
        Pair& pair = **both;
        const TRPCEstimationDataItem at = test::GroundCube(data).At(0.1, 0.2, 0.3);
        const auto seen = [&](const TRPC& model) {
          const TRPCEstimationDataItem item = test::SeenBy(model, at);
          return TRPCCoordsDataItem{&model, item.Line, item.Sample};
        };
        const std::vector<TRPCCoordsDataItem> items = {seen(pair.A), seen(pair.B)};
        double* const g = pair.Ground.data();
        TRPC::CalculateLatLonHApproximately(pair.A, items[0].Line, items[0].Sample, pair.B, items[1].Line,
                                            items[1].Sample, &g[0], &g[1], &g[2]);
        return CalculateLatLonHApproximately(items, &g[0], &g[1], &g[2]) &&
               CalculateLatLonH(items, &g[0], &g[1], &g[2]) &&
               CalculateLatLonH(items, at.Height, 1.0, &g[0], &g[1], &g[2]) &&
               CalculateLatLonApproximately(items, g[2], &g[3], &g[4]) &&
               CalculateLatLon(items, g[2], &g[3], &g[4]);
      },
      [](const std::unique_ptr<Pair>& pair) { return pair->Ground; });
  // So many that threads share them. The approximation is one of the model's own works.
  table->Try(
      "Batches", Leaves::Usable,
      [=] {
        auto model = std::make_unique<TAdjustedRPC>(data, nullptr, &shift);
        model->EnsureApproximation();
        return model;
      },
      [=](std::unique_ptr<TAdjustedRPC>* model) {
        constexpr std::size_t Count = 2 * 16384;
        const test::Values lat(Count, data.LatitudeOffset);
        const test::Values lon(Count, data.LongitudeOffset);
        const test::Values h(Count, data.HeightOffset);
        test::Values image(2 * Count);
        test::Values ground(2 * Count);
        double* const seen = image.data();
        double* const found = ground.data();
        CalculateLineSamples(**model, Count, lat.data(), lon.data(), h.data(), seen, seen + Count);
        SolveLatLons(**model, Count, seen, seen + Count, h.data(), found, found + Count);
        if (!(std::abs(ground[Count - 1] - data.LatitudeOffset) < 1e-6)) return false;
        // What cannot be started from is worked singly, among the threads too.
        const TRPC* const models[] = {model->get(), model->get()};
        const double* const nowhere[] = {ground.data(), ground.data()};
        test::Values heights(Count);
        std::fill(ground.begin(), ground.end(), std::numeric_limits<double>::quiet_NaN());
        return SolveLatLonHs(models, 2, Count, nowhere, nowhere, image.data(), image.data() + Count,
                             heights.data()) == Count;
      },
      [](const std::unique_ptr<TAdjustedRPC>&) { return 0; });
  table->Try(
      "Footprint", Leaves::Unchanged, [] { return std::array<TGroundPosition, 4>(); },
      [=](std::array<TGroundPosition, 4>* corners) {
        return CalculateFootprint(TAdjustedRPC(data, nullptr, &shift), corners);
      },
      [](const std::array<TGroundPosition, 4>& corners) {
        test::Values all;
        for (const TGroundPosition& corner : corners) {
          all.insert(all.end(), {corner.Latitude, corner.Longitude});
        }
        return all;
      });
}

void TryNumerics(Table* table) {
  const auto square = [] { return test::Matrix(3, {4, 1, 0.5, 1, 3, 0.25, 0.5, 0.25, 2}); };
  table->Try(
      "MatrixAlgebra", Leaves::Unchanged, square,
      [](TMatrix* m) {
        TMatrix inverse(3);
        if (!CholeskyMatrixInversion(*m, &inverse, nullptr)) return false;
        const TMatrix next = !*m + ~*m * inverse - 2.0 * inverse;
        *m = next;
        return true;
      },
      AsValues);
  table->Try(
      "Solvers", Leaves::Usable, [] { return TVector(3); },
      [=](TVector* x) {
        const TMatrix A = square();
        const TVector b(1, 2, 3);
        return Gauss(A, b, *x) != 0.0 && Cholesky(A, b, *x) && TLinearSystem(A, b).Det() != 0.0 &&
               TOverdefinedLinearSystem(A, b, TVector(1, 1, 2)).Solve(*x) && Cond(A) > 0.0;
      },
      AsValues);
  table->Try(
      "Buffers", Leaves::Unchanged, square,
      [](TMatrix* m) {
        TMatrix copy(*m);
        const std::unique_ptr<double[]> row(copy.rows[0].Put2Buffer());
        double** const rows = copy.Put2Buffer();
        if (rows == nullptr) return false;
        ReleaseMatrix(rows, copy.height);
        return row != nullptr && copy.Clip(2, 2) && copy.rows[0].Clip(1) && (m->FillWithZeroes(), true);
      },
      AsValues);
  table->Try(
      "SystemSet", Leaves::Unchanged, [] { return TLinearSystem(TMatrix(1), TVector(1)); },
      [=](TLinearSystem* system) {
        system->Set(square(), TVector(1, 2, 3));
        return true;
      },
      [](const TLinearSystem& system) {
        TVector x(3);
        return system.Det() == 0.0 ? 0.0 : system.SolutionGauss(x);
      });
  // Rows enough that threads share them.
  table->Try(
      "ParallelProduct", Leaves::Usable, [] { return TMatrix(64, 64); },
      [](TMatrix* product) {
        TMatrix factor(64, 64);
        factor.AddToDiag(TVector(64).FillWithValue(2.0));
        MatrixMultiplication(factor, factor, product, [] { return 0; });
        return true;
      },
      AsValues);
  table->Try(
      "PolynomialFit", Leaves::Unchanged, [] { return TLeastSquaresPolynomialApproximation(1); },
      [](TLeastSquaresPolynomialApproximation* fit) {
        double x[] = {0, 1, 2, 3};
        double y[] = {1, 3, 5, 7.5};
        return fit->Build(4, x, y);
      },
      [](const TLeastSquaresPolynomialApproximation& fit) { return fit.GetCoefsString(); });
  table->Try(
      "ModuleStarted", Leaves::Usable, [] { return 0; },
      [](int* starts) {
        Init_Kelvane();
        Deinit_Kelvane();
        *starts = 1;
        return true;
      },
      Itself);
  using SatAttitudeAngles::TAngleUnitSet;
  table->Try(
      "AngleUnits", Leaves::Usable, [] { return std::make_unique<TAngleUnitSet>(); },
      [](std::unique_ptr<TAngleUnitSet>* set) {
        std::vector<TMatrix> matrices(6, TMatrix(3, 3));
        double times[6];
        for (std::size_t i = 0; i < 6; ++i) {
          times[i] = 0.2 * static_cast<double>(i) - 0.5;
          SatAttitudeAngles::DirectionalCosMatrix(&matrices[i], 0.1 * times[i], 0.2, 0.3 + times[i]);
        }
        double nyu[2];
        double gamma[2];
        double psi[2];
        return SatAttitudeAngles::ApproximateAngles(matrices.data(), times, 6, 1, 1, 1, nyu, gamma, psi) &&
               (*set)->Set(matrices.data(), 6) && (*set)->Aproximate(times, 1, 1, 1, nyu, gamma, psi);
      },
      [](const std::unique_ptr<TAngleUnitSet>& set) { return set->Count() == 0 ? 0.0 : set->Unit(5).psi; });
  table->Try(
      "Transforms", Leaves::Unchanged, [] { return T7Params(); },
      [](T7Params* params) {
        const std::vector<T7ParamsSourceDataItem> pairs = {
            {{0, 0, 0}, {1, 1, 1}}, {{1, 0, 0}, {2, 1, 1}}, {{0, 1, 0}, {1, 2, 1}}, {{0, 0, 1}, {1, 1, 2}}};
        return Calculate7Params(pairs, params);
      },
      [](const T7Params& params) { return test::XmlOf(T7ParamsTransform(params)); });
}

class Memory : public testing::TestWithParam<std::pair<const char*, void (*)(Table*)>> {
 protected:
  void SetUp() override { KaSetThreadsCount(2); }
  void TearDown() override { KaSetThreadsCount(0); }
};

TEST_P(Memory, WhenItRunsOutIsReportedAndNothingIsLost) {
  Table table;
  GetParam().second(&table);
}

/// A host's stream that fails in a way of its own.
class OddStream : public TKaStringStream {
 public:
  OddStream() : TKaStringStream("text") {}
  std::size_t Read(void*, std::size_t) override { throw 1; }
  std::size_t ReadLine(char*, std::size_t) override { throw 1; }
  std::size_t Write(const void*, std::size_t) override { throw 1; }
};

TEST(OddHost, WhateverItThrowsStaysInside) {
  OddStream odd;
  TRPCData record = test::NumberedRecord();
  TCipherRPCImpExpDataset set;
  TMIFLayer layer;
  layer.Regions = {{{TPolygon({{0, 0}, {1, 0}, {0, 1}})}, {}}};
  std::string problem;
  EXPECT_FALSE(WriteMIF(layer, &odd, &odd, &problem));
  test::FullStream full(10);
  EXPECT_FALSE(WriteMIF(layer, &full, &full, &problem));
  EXPECT_FALSE(ReadMIF(&odd, nullptr, &layer, &problem));
  EXPECT_FALSE(set.SaveToDocument(&odd, &problem) || set.InitializeFromDocument(&odd, &problem));
  EXPECT_FALSE(record.SaveToText(&odd, "", "") || record.SaveToRPB(&odd, "", "", 0.0, 0.0));
  EXPECT_FALSE(ReadVendorXml(&odd, &record, nullptr, &problem) || RPCTextNumbersAreWhole(&odd, &problem));
  EXPECT_FALSE(record.InitializeFromText(&odd, &problem));
  EXPECT_FALSE(record.InitializeFromRPB(new_a<OddStream>(), nullptr, &problem));
}

INSTANTIATE_TEST_SUITE_P(Works, Memory,
                         testing::Values(std::pair("Texts", &TryTexts), std::pair("Datasets", &TryDatasets),
                                         std::pair("Fits", &TryFits), std::pair("Models", &TryModels),
                                         std::pair("Numerics", &TryNumerics)),
                         [](const auto& works) { return works.param.first; });

}  // namespace
