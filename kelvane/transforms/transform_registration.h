/// \file
/// Registration of the library's transform with the host (internal: called by module start and stop).
#pragma once

namespace SatCommonUtils {

/// Counts a use; the first registers `T2DAffineTransform` with the host under "sat_affine". Not locked:
/// the host starts and stops modules from one thread. What the registry throws passes through, the use
/// then not counted.
void U_InitTransforms_Initialize();

/// Ends a use; the last one unregisters the name.
void U_InitTransforms_Finalize();

}  // namespace SatCommonUtils
