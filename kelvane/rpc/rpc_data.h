/// \file
/// The record of a rational polynomial camera model (RPC00B), and its three forms: the host's XML, RPC
/// text and RPB. docs/formats.md shows each.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>

#include "kelvane/module/export.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/var_a.h"

class TKaXIniReader;
class TKaXIniWriter;

namespace SatCommonUtils {

/// What a text says beside the 90 numbers of the record.
struct TRPBHeader {
  bool HasImage = false;  ///< the group IMAGE of an RPB text was found; without it the rest is unset there
  std::optional<std::string> SatId;   ///< as the text has it, quotes dropped; none when the key is missing
  std::optional<std::string> BandId;  ///< likewise
  std::optional<double> ErrBias;      ///< metres; unset, too, when what stands there is no number
  std::optional<double> ErrRand;      ///< likewise
};

/// The 90 numbers of an RPC model. Coefficient k of each set belongs to the k-th of the 20 terms that
/// `CalculateRPCPolynomes` names. A new record is unset.
///
/// Every member that reads or writes reports by its result and lets no exception out. Those that take a
/// `problem` (may be null) say there, on failure, what was wrong, in one line; on success it is left
/// alone.
struct KELVANE_API TRPCData {
  /// Of each polynomial: all products of P, L and H up to third order.
  static constexpr std::size_t CoefficientCount = 20;
  /// The value of a field that nobody has set: the largest finite double.
  static constexpr double Unset = std::numeric_limits<double>::max();

  double LineNum[CoefficientCount];      ///< numerator of the line (row)
  double LineDenom[CoefficientCount];    ///< denominator of the line
  double SampleNum[CoefficientCount];    ///< numerator of the sample (column)
  double SampleDenom[CoefficientCount];  ///< denominator of the sample
  double LineOffset;                     ///< pixels; the centre of the first pixel is line 0
  double LineScale;                      ///< pixels
  double SampleOffset;                   ///< pixels; the centre of the first pixel is sample 0
  double SampleScale;                    ///< pixels
  double LatitudeOffset;                 ///< degrees
  double LatitudeScale;                  ///< degrees
  double LongitudeOffset;                ///< degrees
  double LongitudeScale;                 ///< degrees
  double HeightOffset;                   ///< metres above the ellipsoid
  double HeightScale;                    ///< metres

  TRPCData() { Invalidate(); }

  /// Marks all 90 values as unset.
  void Invalidate();

  /// True when none of the 90 values is `Unset`. That says that every field was given, not that the model
  /// is usable: a zero scale, an infinity and a NaN all pass.
  explicit operator bool() const;

  /// Reads the record from the reader's current section. "LineNom" and "SampleNom" are taken for the
  /// numerators where "LineNum" and "SampleNum" are absent. A failed read leaves the record partly
  /// overwritten.
  bool InitializeFromXML(TKaXIniReader* reader);
  bool InitializeFromXML(TKaXIniReader* reader, std::string* problem);
  /// Writes the record into the current section; false at the first write that fails.
  bool SaveToXML(TKaXIniWriter* writer) const;

  /// Reads the RPC text form, up to the end of the stream: lines "LINE_OFF: 12.5 pixels" in any order,
  /// what stands behind the number ignored, lines of other keys ignored, the first of two lines of one key
  /// taken. False unless all 90 keys were read; the record is then partly overwritten.
  bool InitializeFromText(TKaStream* stream);
  bool InitializeFromText(TKaStream* stream, std::string* problem);
  /// The same, with the error figures "ERR_BIAS" and "ERR_RAND" into those members of `header` (may be null)
  /// that are unset, also as far as a failed read came.
  bool InitializeFromText(TKaStream* stream, TRPBHeader* header, std::string* problem);
  /// The same from a file; false also when it cannot be opened.
  bool InitializeFromTextFile(const std::string& path);
  /// Writes the RPC text form, 90 lines. An empty unit stands for "degrees" or "meters". The form rounds:
  /// pixels to 0.01, degrees to 1e-8, metres to 0.001, coefficients to 16 digits. False when the stream
  /// does not take a line. An unset field is written as the number that it holds.
  bool SaveToText(TKaStream* stream, std::string angleUnit, std::string lengthUnit) const;

  /// Reads an RPB file. Where `errBias` is not null it receives "errBias", or 0 when the file has none.
  /// `errRand` must not be null: when the value it points to is not zero it receives "errRand" likewise,
  /// otherwise it is left at zero. A failed read leaves the record invalid (and the two as far as they came).
  bool InitializeFromRPBFile(const std::string& path, double* errBias, double* errRand);
  /// Reads the RPB form from where the stream stands, and what it says beside the record into `header`
  /// (may be null). A failed read leaves the record invalid.
  bool InitializeFromRPB(const var_a<TKaStream*>& stream, TRPBHeader* header, std::string* problem);
  /// Writes the RPB form with one write. The form rounds: pixels and metres to 0.01, degrees to 1e-8,
  /// coefficients to 9 digits. An unset record writes nothing and yields false.
  bool SaveToRPB(TKaStream* stream, const std::string& satId, const std::string& bandId,
                 const double& errBias, const double& errRand) const;
};

/// Whether every number that `InitializeFromText` would take from the text is one from its beginning to its
/// end. That reader stops where a number seems to end, and so takes 1.5D-03 for 1.5 and 1,812.00 for 1. Reads
/// to the end of the stream. False, with `problem` (may be null) naming the key, at the first that is not.
/// Lets no exception out.
KELVANE_API bool RPCTextNumbersAreWhole(TKaStream* stream, std::string* problem);

/// Writes a - b, value by value, into `*diff`, which may be either of them.
KELVANE_API void DebugEstimateRPCDataDifference(const TRPCData& a, const TRPCData& b, TRPCData* diff);

/// True when every difference a - b equals 0. Two unset records are identical; a NaN or an infinity in
/// the same place of both makes them differ.
KELVANE_API bool DebugRPCDataAreIdentical(const TRPCData& a, const TRPCData& b);

}  // namespace SatCommonUtils
