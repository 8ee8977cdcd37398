// The page adapter asks the backend for the name of the loaded media, with an SNMP query over the
// side channel. Other backends forward the query to printers that support the Printer MIB.
#pragma once

namespace k905 {

inline constexpr char kMediaNameOid[] = ".1.3.6.1.2.1.43.8.2.1.12.1.1";  // prtInputMediaName
inline constexpr int kSideChannel = 4;  // descriptor number, set by CUPS

}  // namespace k905
