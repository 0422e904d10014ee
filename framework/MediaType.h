// Media-type helpers (copy, compare, free) and CMediaType, an AM_MEDIA_TYPE
// that owns its format block and its pUnk reference. Plain functions on
// plain data: any thread may use them on its own objects.
#pragma once

#include <windows.h>
#include <strmif.h>
#include <vfwmsgs.h>
#include <amvideo.h>

// Deep copy: the format block is duplicated with CoTaskMemAlloc and pUnk
// gets a reference. On failure *pDst is left empty and E_OUTOFMEMORY returned.
HRESULT CopyMediaType(AM_MEDIA_TYPE* pDst, const AM_MEDIA_TYPE* pSrc);

// Frees the format block and releases pUnk; the structure itself stays.
void FreeMediaType(AM_MEDIA_TYPE& mt);

// A new AM_MEDIA_TYPE from CoTaskMemAlloc holding a copy of *pSrc (as the
// pin and enumerator interfaces hand out), or null when memory runs out.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* pSrc);

// Frees a type made by CreateMediaType (or by any DirectShow call that
// returns an AM_MEDIA_TYPE*). Null is allowed.
void DeleteMediaType(AM_MEDIA_TYPE* pmt);

// Full equality: major type, subtype, format type and the format bytes.
bool MediaTypesEqual(const AM_MEDIA_TYPE& a, const AM_MEDIA_TYPE& b);

// The uncompressed video subtype that describes a bitmap header:
// MEDIASUBTYPE_RGB1/4/8/565/555/24/32 for BI_RGB and BI_BITFIELDS, otherwise
// the FOURCC subtype made from biCompression. GUID_NULL for a null header or
// an RGB bit count that has no subtype.
GUID GetBitmapSubtype(const BITMAPINFOHEADER* pbmi);

// Bytes of a bottom-up DIB described by the header:
// ((biWidth * biBitCount + 31) / 32) * 4 * |biHeight|, in 32-bit unsigned
// arithmetic as a DIB header holds it.
DWORD GetDibSize(const BITMAPINFOHEADER& bmi);

class CMediaType : public AM_MEDIA_TYPE {
 public:
  CMediaType();                                 // empty: all GUIDs null
  explicit CMediaType(const GUID* pMajorType);  // empty with a major type
  CMediaType(const AM_MEDIA_TYPE& mt);          // deep copy
  CMediaType(const CMediaType& mt);
  ~CMediaType();

  CMediaType& operator=(const AM_MEDIA_TYPE& mt);
  CMediaType& operator=(const CMediaType& mt);
  bool operator==(const CMediaType& mt) const { return MediaTypesEqual(*this, mt); }
  bool operator!=(const CMediaType& mt) const { return !MediaTypesEqual(*this, mt); }

  // Deep copy into this object; false when memory ran out (then empty).
  bool Set(const AM_MEDIA_TYPE& mt);
  // Back to the empty type, freeing the format block.
  void InitMediaType();
  // True when the major type is set.
  bool IsValid() const { return majortype != GUID_NULL; }
  // True when major type, subtype and format type are all set.
  bool IsFullySpecified() const;
  // True when every set part of pPartial (non-null GUIDs, format block)
  // equals ours.
  bool MatchesPartial(const AM_MEDIA_TYPE* pPartial) const;

  const GUID* Type() const { return &majortype; }
  const GUID* Subtype() const { return &subtype; }
  const GUID* FormatType() const { return &formattype; }
  void SetType(const GUID* p) { majortype = *p; }
  void SetSubtype(const GUID* p) { subtype = *p; }
  void SetFormatType(const GUID* p) { formattype = *p; }
  void SetTemporalCompression(BOOL b) { bTemporalCompression = b; }
  void SetSampleSize(ULONG cb);  // fixed-size samples of cb bytes
  void SetVariableSize();        // samples of any size

  BYTE* Format() const { return pbFormat; }
  ULONG FormatLength() const { return cbFormat; }
  // Replaces the format block with cb zeroed bytes; null when out of memory.
  BYTE* AllocFormatBuffer(ULONG cb);
  // Replaces the format block with a copy of cb bytes; false when out of memory.
  bool SetFormat(const BYTE* pFormat, ULONG cb);
  void ResetFormatBuffer();
};
