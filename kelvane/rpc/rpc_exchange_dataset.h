/// \file
/// A set of named RPC models, as it is handed from one installation to another: in one XML document, in a
/// folder of RPB or RPC text files. docs/formats.md shows the document.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "kelvane/module/export.h"
#include "kelvane/module/file_replacement.h"
#include "kelvane/rpc/rpc_data.h"

namespace SatCommonUtils {

/// One model of a set, and what identifies its image.
struct TRPCExchangeModel {
  std::string Name;   ///< unique in its set; not empty, without control characters (bytes below 32, and 127)
  std::string File;   ///< the file that it belongs to or came from; may be empty; is never opened
  TRPCData Data;      ///< pixels count from the centre of the first one at 0, as everywhere in the library
  TRPBHeader Header;  ///< satellite, band and error figures where known; `HasImage` is not kept
};

/// The form of the files in a folder, and their names: `NAME.RPB` or `NAME_RPC.TXT`.
enum class TE_RPCFileForm { RPB, Text };

/// A file that could not be taken, and why, in one line.
struct TRPCFileProblem {
  std::string File;     ///< without its folder
  std::string Problem;  ///< one line, in words for the user
};

/// The set. It holds what was read or added in that order; models are found by name.
///
/// Every member that reads, writes or adds reports by its result and lets no exception out. On failure
/// `problem` (may be null) says in one line what was wrong; on success it is left alone. Unless said
/// otherwise the set is then as it was.
class KELVANE_API TCipherRPCImpExpDataset {
 public:
  /// True when it holds a model.
  explicit operator bool() const { return !models_.empty(); }
  /// In the order in which they were added or read.
  const std::vector<TRPCExchangeModel>& Models() const { return models_; }
  /// The model of that name, or null. Valid until the set is changed.
  const TRPCExchangeModel* Find(const std::string& name) const;

  /// Puts a model behind the others. False for a name that is none or is taken, for a record with an unset
  /// field, and for a text with a zero byte. That the model can project is not checked.
  bool Add(TRPCExchangeModel model, std::string* problem);
  /// False when there is no model of that name.
  bool Remove(const std::string& name);
  /// Removes all.
  void Clear();

  /// Reads a document from the beginning of the stream in place of what the set held. Numbers come back bit
  /// for bit (a NaN as some NaN), under every locale. Tags that are not known are passed over.
  bool InitializeFromDocument(TKaStream* stream, std::string* problem);
  /// Writes the set as one document; an empty one too. False, with nothing written, when a text in it is not
  /// what XML can hold: no UTF-8, or with control characters other than tabs and line ends. A stream that
  /// fails may have taken a part.
  bool SaveToDocument(TKaStream* stream, std::string* problem) const;

  /// Adds the model of a provider's XML file (`ReadVendorXml`), named by `RPCModelName`.
  bool ImportVendorXmlFile(const std::string& path, std::string* problem);

  /// Adds the models of the files that `RPCModelFiles` lists, in their order; each is read as its suffix says
  /// and named by `RPCModelName`. Other files, and folders inside, are passed over. A file that cannot be
  /// taken, as one whose name is taken or one of RPC text with a number that is not whole
  /// (`RPCTextNumbersAreWhole`), goes to `problems` (null: they are not told), and the rest is still read.
  /// False when the folder cannot be listed.
  bool ImportFolder(const std::string& folder, std::vector<TRPCFileProblem>* problems, std::string* problem);

  /// Writes one file for each model into an existing folder, named by `RPCFileName`. All are written beside
  /// their places before the first one takes its own (`TFileReplacement`); `place` says whether files that
  /// stand there are replaced. When a last step fails all the same, files in free places are taken back, and
  /// those that were replaced stay so. False when two names come to the same file (small and capital letters
  /// taken for the same), and when a model does not survive the form: a scale that becomes 0, a name of
  /// satellite or band that RPB cannot hold. Both forms round (`SaveToRPB`, `SaveToText`); RPB has 0.00 for
  /// an error figure and an empty name where there is none, and the text form has neither.
  bool ExportToFolder(const std::string& folder, TE_RPCFileForm form, TE_FilePlace place,
                      std::string* problem) const;

 private:
  std::vector<TRPCExchangeModel> models_;
  std::unordered_map<std::string, std::size_t> places_;  // in models_, by name
};

/// What the model of a file is called: the file's name without folder and extension and, where that is
/// ".TXT", without "_RPC" at its end; both in any letter case.
KELVANE_API std::string RPCModelName(const std::string& path);

/// The names of the regular files in a folder whose suffix is ".rpb" or ".txt" in any letter case, in the
/// order of their bytes. Throws `std::runtime_error`, with the system's reason, when the folder cannot be
/// listed.
KELVANE_API std::vector<std::string> RPCModelFiles(const std::string& folder);

/// What the file of a model is called: "NAME.RPB" or "NAME_RPC.TXT", with '_' for `/ \ : * ? " < > |` and for
/// a
/// '.' or '-' at the beginning, so that it stays in its folder.
KELVANE_API std::string RPCFileName(const std::string& model, TE_RPCFileForm form);

}  // namespace SatCommonUtils
