# The arithmetic of resize, tone and colour is a promise down to the last bit, so the flags that keep
# it stand here and nowhere else. Contraction into fused multiply-add would change results (linear
# contrast on 68 gives 55 instead of 56); fast-math would reorder sums and lose NaN.
add_library(k905_numerics INTERFACE)
target_compile_options(k905_numerics INTERFACE -ffp-contract=off -fno-fast-math)
