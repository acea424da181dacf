// Instruction-set levels for the vector paths. Each family keeps its scalar
// row kernels as the one statement of its rules and fills a table of
// function pointers once, from the level in force: the best the processor
// (and its operating system) supports, or a lower one forced with the
// environment variable NADIRO_CPU=scalar|sse2|avx2|avx512. Every level
// produces the same bytes; the tests run the suite once per level.
#pragma once

namespace nadiro {

enum class CpuLevel : int { Scalar = 0, Sse2 = 1, Avx2 = 2, Avx512 = 3 };

// The level in force, decided on first use and fixed for the process.
CpuLevel cpuLevel();

// The best level this processor supports, whatever NADIRO_CPU says.
CpuLevel cpuBestLevel();

// "scalar", "sse2", "avx2" or "avx512".
const char* cpuLevelName(CpuLevel level);

}  // namespace nadiro
