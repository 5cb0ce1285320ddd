#pragma once

#include "Read.h"

/// Marks every document of the database that has no mark yet, design documents apart, and tells how many were marked.
/// The program's exit status.
int Update(const Job& job);
