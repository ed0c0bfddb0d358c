/// Texts of numbers. The first character says of what: v(ector, sparse too), p(olynomial), m(atrix, its
/// width and height in the first line and a row in each other), anything else a list.
#include <algorithm>
#include <memory>
#include <vector>

#include "fuzz/fuzzing.h"
#include "host/ini_xml.h"
#include "kelvane/module/host/ini.h"
#include "kelvane/module/host/text.h"
#include "kelvane/numeric/matrix.h"
#include "kelvane/numeric/polynomial.h"
#include "kelvane/numeric/sparse_vector.h"
#include "kelvane/numeric/split.h"
#include "kelvane/numeric/vector.h"

namespace {

using namespace SatCommonUtils;

constexpr char Key[] = "Key";

TKaXIniStreamReader ReaderOf(const TKaXIniXmlWriter& writer) {
  const auto stream = new_a<TKaStringStream>();
  fuzz::Require(writer.Save(stream.get()), "a configuration is written");
  return TKaXIniStreamReader(stream, true, nullptr);
}

/// What the object writes under `Key`.
template <class T>
std::string Saved(const T& object) {
  TKaXIniXmlWriter writer;
  fuzz::Require(object.SaveToXML(&writer, Key), "an object is written");
  TKaStringStream stream;
  fuzz::Require(writer.Save(&stream), "a configuration is written");
  return stream.Text();
}

/// Saved and read, it is saved the same.
template <class T>
void CheckSaving(const T& object, T blank) {
  const std::string once = Saved(object);
  TKaXIniStreamReader reader(fuzz::StreamOf(once), true, nullptr);
  fuzz::Require(blank.InitializeFromXML(&reader, Key), "what is saved is read");
  fuzz::RequireSameText(Saved(blank), once, "an object that was read is saved the same");
}

bool Same(const TVector& a, const TVector& b) {
  return a.size == b.size && fuzz::SameNumbers(a.data, b.data, a.size);
}

/// The numbers that the text holds between these delimiters, both ways round.
std::vector<double> Numbers(const std::string& text, const char* delimiters) {
  const std::size_t count = Split(text.c_str(), delimiters, nullptr, 0, false);
  std::vector<double> forwards(count + 1, 42.0);
  std::vector<double> backwards(count + 1, 42.0);
  fuzz::Require(Split(text.c_str(), delimiters, forwards.data(), count, false) == count, "the same count");
  fuzz::Require(Split(text.c_str(), delimiters, backwards.data() + 1, count, true) == count,
                "the same count");
  std::reverse(backwards.begin(), backwards.end());
  fuzz::Require(fuzz::SameNumbers(forwards.data(), backwards.data(), count), "the other way round");
  fuzz::Require(forwards.back() == 42.0 && backwards.back() == 42.0, "no more than the count is written");
  forwards.pop_back();
  return forwards;
}

void TryVector(const std::string& text) {
  std::vector<double> numbers = Numbers(text, VectorDelimiters);
  try {
    const TVector vector(text);
    fuzz::Require(Same(vector, TVector(numbers.size(), numbers.data())), "the numbers of the text");
    fuzz::Require(Same(TVector(vector.GetString()), vector), "the text gives every bit back");
    vector.Output();
    CheckSaving(vector, TVector());
  } catch (const char* failure) {
    fuzz::Require(numbers.empty(), failure);
  }
  TSparseVector sparse(text);
  fuzz::Require(sparse.Size() == numbers.size(), "a sparse vector takes the same numbers");
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const TSparseVector& read = sparse;
    const bool stored = read.Elements().count(i) != 0;
    fuzz::Require(stored == (numbers[i] != 0.0), "what is not 0 is stored");
    fuzz::Require(!stored || fuzz::SameNumber(read(i), numbers[i]), "the numbers of the text");
  }
}

void TryPolynomial(const std::string& text) {
  const std::vector<double> numbers = Numbers(text, "();,");
  TPolynome polynomial(0, nullptr);
  fuzz::Require(polynomial.Initialize(text) == !numbers.empty(), "a polynomial has a coefficient");
  int count = 0;
  const std::unique_ptr<double[]> coefs(polynomial.GetCoefs(count));
  fuzz::Require(count == polynomial.Order() + 1, "a coefficient more than the order");
  if (!numbers.empty()) {
    std::vector<double> ascending(numbers.rbegin(), numbers.rend());
    fuzz::Require(ascending.size() == static_cast<std::size_t>(count) &&
                      fuzz::SameNumbers(coefs.get(), ascending.data(), ascending.size()),
                  "the numbers of the text, highest power first");
  }
  const std::string once = polynomial.GetCoefsString();
  fuzz::RequireSameText(TPolynome(once).GetCoefsString(), once, "the text gives every bit back");
  CheckSaving(polynomial, TPolynome(0, nullptr));
  polynomial.Derivative().GetValue(2.0);
  polynomial.Optimize();
  fuzz::Require(polynomial.Order() >= 0, "the constant stays");
}

std::string TakeLine(std::string* text) {
  const std::size_t end = std::min(text->find('\n'), text->size());
  std::string line = text->substr(0, end);
  text->erase(0, end + 1);
  return line;
}

void TryMatrix(std::string text) {
  const std::string sizes = TakeLine(&text);
  const std::size_t blank = std::min(sizes.find(' '), sizes.size());
  TKaXIniXmlWriter writer;
  const unsigned long section = writer.BeginSection(Key);
  writer.WriteS<std::string>("MatrixWidth", sizes.substr(0, blank));
  writer.WriteS<std::string>("MatrixHeight", sizes.substr(std::min(blank + 1, sizes.size())));
  const unsigned long rows = writer.BeginSection("MatrixRows");
  for (std::size_t row = 0; !text.empty(); ++row) {
    writer.WriteS<std::string>(std::to_string(row), TakeLine(&text));
  }
  fuzz::Require(writer.EndSection(rows) && writer.EndSection(section), "sections are ended");
  TKaXIniStreamReader reader = ReaderOf(writer);
  TMatrix matrix("");
  if (!matrix.InitializeFromXML(&reader, Key)) return;
  // What is missing has no text, so large matrices would be large texts.
  constexpr std::size_t Largest = 4096;
  if (matrix.height > Largest || matrix.width > Largest || matrix.width * matrix.height > Largest) return;
  CheckSaving(matrix, TMatrix(""));
  matrix.Output();
  matrix.Norma1();
}

/// The first line holds the separators.
void TryList(std::string text) {
  constexpr unsigned Most = 8;
  const std::string separators = TakeLine(&text);
  double all[Most + 1];
  double strict[Most + 1];
  std::fill_n(all, Most + 1, 42.0);
  const unsigned count = SplitStringIntoDoubles(text.c_str(), separators.c_str(), all, Most, true, nullptr);
  fuzz::Require(count <= Most, "no more than asked for");
  for (unsigned i = count; i <= Most; ++i) fuzz::Require(all[i] == 42.0, "no more than the count is written");
  const unsigned fewer =
      SplitStringIntoDoubles(text.c_str(), separators.c_str(), strict, Most, false, nullptr);
  fuzz::Require(fewer == 0 || (fewer == count && fuzz::SameNumbers(strict, all, count)),
                "all numbers, or none where a token is none");
  StringToDoubleDef(text, 42.0);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::TInput input(data, size);
  const std::uint8_t kind = input.Byte();
  const std::string text(input.Rest());
  switch (kind) {
    case 'v':
      TryVector(text);
      break;
    case 'p':
      TryPolynomial(text);
      break;
    case 'm':
      TryMatrix(text);
      break;
    default:
      TryList(text);
  }
  return 0;
}
