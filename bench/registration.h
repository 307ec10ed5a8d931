#pragma once

// Each file of benchmarks registers its pairs here. Names are "<operation>/<side>/<size>", where
// the side is "ours" for the library and the baseline's name otherwise; bench/compare pairs
// them by that name.

namespace qvbench {

void RegisterEncryptionBenchmarks();
void RegisterHashingBenchmarks();
void RegisterSsvBenchmarks();
void RegisterSecureBlockBenchmarks();
void RegisterJsonBenchmarks();

}  // namespace qvbench
