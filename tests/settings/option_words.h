// Keywords and flags of the settings, for tests that combine them at random.
#pragma once

#include <array>

// Every keyword that a queue or an argument can set, and two unknown ones.
inline constexpr auto kOptionKeywords = std::to_array<const char*>({"PageSize",
                                                                    "PageRegion",
                                                                    "ICCProfile",
                                                                    "ColorBase",
                                                                    "StpBrightness",
                                                                    "StpContrast",
                                                                    "StpSaturation",
                                                                    "StpGamma",
                                                                    "StpImageType",
                                                                    "StpColorCorrection",
                                                                    "ColorModel",
                                                                    "StpColorPrecision",
                                                                    "Resolution",
                                                                    "StpLaminate",
                                                                    "StpLegacyDyesubGamma",
                                                                    "StpNoCutWaste",
                                                                    "StpCyanGamma",
                                                                    "StpiShrinkOutput",
                                                                    "StpMagentaGamma",
                                                                    "StpYellowGamma",
                                                                    "BleedTop",
                                                                    "StpCyanBalance",
                                                                    "StpMagentaBalance",
                                                                    "StpYellowBalance",
                                                                    "BleedBottom",
                                                                    "StpLinearContrast",
                                                                    "BleedLeft",
                                                                    "BleedRight",
                                                                    "BleedA",
                                                                    "BleedB",
                                                                    "BleedC",
                                                                    "BleedD",
                                                                    "MediaType",
                                                                    "stpgamma"});

// Every flag, and two that change no setting.
inline constexpr auto kArgumentFlags = std::to_array<const char*>(
    {"--contrast", "--saturation", "--brightness", "--gamma", "--copies", "--color-model",
     "--color-precision", "--image-type", "--color-correction", "--icc-profile", "--icc-intent",
     "--paper-size", "--info", "--unknown"});
