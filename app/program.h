/// \file
/// The program `kelvane`: a small host application over the library.
#pragma once

namespace app {

/// Does what the command line says, and gives the exit status. Throws nothing: failures are told on standard
/// error.
int RunProgram(int argc, char** argv);

}  // namespace app
