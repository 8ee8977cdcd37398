# The arithmetic of resize, tone and color is exact to the last bit, so its compiler flags are set only here.
# Contraction to fused multiply-add would change results (linear contrast on 68 gives 55 instead of 56); fast-math
# would reorder sums and lose NaN. Contraction is last, because in some compilers switching fast-math off sets
# contraction to a default.
add_library(k905_numerics INTERFACE)
target_compile_options(k905_numerics INTERFACE -fno-fast-math -ffp-contract=off)
