# The arithmetic of resize, tone and color is a promise down to the last bit, so the flags that keep
# it stand here and nowhere else. Contraction into fused multiply-add would change results (linear
# contrast on 68 gives 55 instead of 56); fast-math would reorder sums and lose NaN. Contraction stands
# last, because taking fast-math back sets contraction to a default of its own in some compilers.
add_library(k905_numerics INTERFACE)
target_compile_options(k905_numerics INTERFACE -fno-fast-math -ffp-contract=off)
