// The question of the page adapter to the backend over the side channel: the name of the loaded
// media, by its object in the Printer MIB. Other backends pass the question on to printers that
// have this MIB.
#pragma once

namespace k905 {

inline constexpr char kMediaNameOid[] = ".1.3.6.1.2.1.43.8.2.1.12.1.1";  // prtInputMediaName
inline constexpr int kSideChannel = 4;                                   // its descriptor

}  // namespace k905
