// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/job_runner.h"
#include "service/database/retention.h"

#include <vector>

namespace service {

/// What every instance does beside answering: moving rows of schema 2, making the partitions of the
/// coming months, erasing removed users, deleting what is too old or has expired, and packing days
/// that nobody has read.
[[nodiscard]] std::vector<Job> usualJobs(const Retention& retention);

} // namespace service
