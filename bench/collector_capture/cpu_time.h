#pragma once

/// Seam: processor time that this process has used, user and system together, in seconds.
double ProcessCpuSeconds();
