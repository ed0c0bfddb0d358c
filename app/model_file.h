/// \file
/// Models in files: found, read, checked.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/model_recognition.h"
#include "kelvane/refinement/affine_refinement.h"
#include "kelvane/rpc/rpc.h"
#include "kelvane/rpc/rpc_data.h"
#include "kelvane/rpc/rpc_exchange_dataset.h"

namespace app {

/// What the program's XML says beside the record.
inline constexpr char ErrBiasKey[] = "errBias";
inline constexpr char ErrRandKey[] = "errRand";
inline constexpr char SatIdKey[] = "satId";
inline constexpr char BandIdKey[] = "bandId";

struct ModelFile {
  std::string path;   ///< the file that was read: the side-car, where an image was named; or FILE:NAME
  std::string name;   ///< of a model in a set; else empty
  std::string image;  ///< what a dataset says that the model belongs to; in a folder, its file
  ModelFormat format = ModelFormat::Rpb;
  SatCommonUtils::TRPCData data;
  SatCommonUtils::TRPBHeader header;  ///< error figures and names, where the file has them
  /// The correction that a refined model carries; the model is a `TAdjustedRPC` then.
  std::optional<SatCommonUtils::TRPCRefinementDataAffine> refinement;
  std::string defect;                           ///< why the numbers make no model that can project
  std::unique_ptr<SatCommonUtils::TRPC> model;  ///< null when there is a defect
  std::vector<std::string> remarks;             ///< what a person may want to know
};

/// Reads a model, or the side-car of the image named, or the model of a dataset: of FILE:NAME, where there is
/// no file of that whole name and FILE is a dataset or an image with one beside it, and of the dataset's name
/// alone where it holds but one. Either part of FILE:NAME may hold colons. Throws `Problem` for a file that
/// cannot be read or holds no model: it says which form was tried and what is missing.
ModelFile ReadModelFile(const std::string& path);

/// Reads a file if it begins as a model does, else says in `*why` why that is none. Throws `Problem`
/// likewise.
std::optional<ModelFile> ReadIfModel(const std::string& path, std::string* why);

/// The dataset that a file is, or none where it is something else or there is none. Throws `Problem` for a
/// file that cannot be read and for a dataset that is malformed.
std::optional<SatCommonUtils::TCipherRPCImpExpDataset> ReadDataset(const std::string& path);

/// One of the models of the dataset at `path`.
ModelFile ModelOfDataset(const std::string& path, const SatCommonUtils::TRPCExchangeModel& model);

/// Reads a model from bytes in a known form; `path` is what messages call them. Of a dataset, the only model.
ModelFile ReadModelBytes(const std::string& path, ModelFormat format, const std::string& bytes);

/// A model with the margin and the raster size of another. The refinement may be null.
std::unique_ptr<SatCommonUtils::TRPC> MakeModel(const SatCommonUtils::TRPCData& data,
                                                const SatCommonUtils::TRPCRefinementDataAffine* refinement,
                                                const SatCommonUtils::TRPC& like);

/// The plain model that a file's refined one is, or comes near to; `*exact` (may be null) tells whether it
/// equals it. Throws `Problem` when none comes near.
ModelFile PlainModel(const ModelFile& file, bool* exact);

/// The model of a file; throws `Problem` with its defect when it has none.
const SatCommonUtils::TRPC& UsableModel(const ModelFile& file);

}  // namespace app
