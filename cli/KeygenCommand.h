#pragma once
// korautoupdate keygen: an Ed25519 key pair for signing releases; the private
// key into an owner-only file, the public key printed.
#include "CommandLine.h"

#include <ostream>

namespace kau::cli {

int runKeygen(const CommandLine& line, std::ostream& out, std::ostream& err);

} // namespace kau::cli
