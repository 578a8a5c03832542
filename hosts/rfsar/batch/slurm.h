// SPDX-License-Identifier: MIT
#pragma once

#include "batch/run.h"

namespace batch {

struct SlurmOptions {
    double chunkSeconds = 90;
    std::string partition, time, memory; ///< as sbatch takes them
    std::vector<std::string> further;    ///< options of sbatch
    bool wait = false;
    std::string script; ///< write the job script to this file instead
};

/// Measures a few products here, cuts the rest of the missing ones into chunks of the requested
/// time, and submits an array job for the chunks and a job that joins their rows.
/// @return the exit status.
/// @throws loader::Error when the folder is in use or nothing can be submitted.
int submit(const Request& request, const SlurmOptions& options);

} // namespace batch
