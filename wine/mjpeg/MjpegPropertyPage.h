// CMjpegPropertyPage (CLSID_TavMjpegPropertyPage): the MJPEG compressor's
// property page, shown by OleCreatePropertyFrame for the filter's
// ISpecifyPropertyPages. One edit box "Quality (1-100):" holds the
// compressor's quality; Apply (OK or Apply in the frame) sets it through the
// output pin's IAMVideoCompression::put_Quality. Wine's property frame never
// calls Apply, so the page also applies on the PSN_APPLY notification that
// the frame's property sheet sends to the window holding the page. A value outside 1-100 is
// refused with E_INVALIDARG and nothing changes.
//
// Threads: the frame calls every method on its UI thread; the page's window
// lives between Activate and Deactivate.
#pragma once

#include <windows.h>
#include <ocidl.h>
#include <strmif.h>

#include <atomic>

#include "framework/NonThrowingComPtr.h"

HRESULT CreateMjpegPropertyPage(IUnknown* outer, REFIID riid, void** object);

class CMjpegPropertyPage final : public IPropertyPage {
 public:
  CMjpegPropertyPage();

  // IUnknown
  STDMETHODIMP QueryInterface(REFIID riid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  // IPropertyPage
  STDMETHODIMP SetPageSite(IPropertyPageSite* site) override;
  STDMETHODIMP Activate(HWND parent, LPCRECT rect, BOOL modal) override;
  STDMETHODIMP Deactivate() override;
  STDMETHODIMP GetPageInfo(PROPPAGEINFO* info) override;
  STDMETHODIMP SetObjects(ULONG count, IUnknown** objects) override;
  STDMETHODIMP Show(UINT command) override;
  STDMETHODIMP Move(LPCRECT rect) override;
  STDMETHODIMP IsPageDirty() override;
  STDMETHODIMP Apply() override;
  STDMETHODIMP Help(LPCOLESTR helpDir) override;
  STDMETHODIMP TranslateAccelerator(MSG* message) override;

  // The edit box's control ID (for hosts and tests that drive the page).
  static constexpr int kQualityEditId = 1001;

 private:
  ~CMjpegPropertyPage();
  static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  // The frame's window that holds the page: it passes PSN_APPLY to Apply.
  static LRESULT CALLBACK ParentProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  void OnQualityEdited();
  void ReleaseObjects();

  std::atomic<ULONG> m_refs{1};
  NonThrowingComPtr<IPropertyPageSite> m_site;
  NonThrowingComPtr<IAMVideoCompression> m_compression;
  HWND m_window = nullptr;
  HWND m_edit = nullptr;
  HWND m_parent = nullptr;         // subclassed while active
  WNDPROC m_parentProc = nullptr;  // its own procedure
  bool m_dirty = false;
  bool m_filling = false;  // the page itself is writing the edit box
};
