#ifndef QVCORE_CORE_TEXTCAST_P_H
#define QVCORE_CORE_TEXTCAST_P_H

// Private to the library (not installed), shared by every layer: the casts between String's
// units and the compiler's wide and UTF-16 characters. All three are UTF-16 code units on
// Windows, so the casts change the type and nothing else.

namespace textcast {

inline const wchar_t *wide(const unsigned short *units) { return reinterpret_cast<const wchar_t *>(units); }
inline wchar_t *wide(unsigned short *units) { return reinterpret_cast<wchar_t *>(units); }
inline const unsigned short *units(const wchar_t *text) { return reinterpret_cast<const unsigned short *>(text); }
inline const unsigned short *units(const char16_t *text) { return reinterpret_cast<const unsigned short *>(text); }

}  // namespace textcast

#endif
