#include "wine/mjpeg/MjpegPropertyPage.h"

#include "wine/mjpeg/MjpegClsid.h"
#include "wine/server/PackClasses.h"

#include <prsht.h>

#include <cmath>
#include <cwchar>
#include <cwctype>
#include <initializer_list>
#include <new>

TAV_PACK_CLASS(g_mjpegPropertyPageClass, CLSID_TavMjpegPropertyPage, CreateMjpegPropertyPage,
               L"Tav MJPEG property page");

namespace {

const wchar_t kWindowClass[] = L"TavMjpegQualityPage";
const wchar_t kPageProperty[] = L"TavMjpegQualityPage";
const wchar_t kTitle[] = L"MJPEG";
const SIZE kPageSize = {300, 90};

HINSTANCE ModuleInstance() {
  HMODULE module = tavpack::PackModule();
  return module != nullptr ? module : GetModuleHandleW(nullptr);
}

bool RegisterPageClass() {
  WNDCLASSW existing = {};
  if (GetClassInfoW(ModuleInstance(), kWindowClass, &existing)) return true;
  WNDCLASSW windowClass = {};
  windowClass.lpfnWndProc = DefWindowProcW;  // replaced per window
  windowClass.hInstance = ModuleInstance();
  windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  windowClass.lpszClassName = kWindowClass;
  windowClass.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
  return RegisterClassW(&windowClass) != 0;
}

// The quality typed into the box, or 0 when it is not a whole number 1-100.
int ParseQuality(const wchar_t* text) {
  if (text[0] == L'\0' || wcslen(text) > 3) return 0;
  int value = 0;
  for (const wchar_t* c = text; *c; ++c) {
    if (!iswdigit(*c)) return 0;
    value = value * 10 + (*c - L'0');
  }
  return value >= 1 && value <= 100 ? value : 0;
}

}  // namespace

HRESULT CreateMjpegPropertyPage(IUnknown* outer, REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  auto* page = new (std::nothrow) CMjpegPropertyPage();
  if (page == nullptr) return E_OUTOFMEMORY;
  const HRESULT hr = page->QueryInterface(riid, object);
  page->Release();
  return hr;
}

CMjpegPropertyPage::CMjpegPropertyPage() { tavpack::PackObjectCreated(); }

CMjpegPropertyPage::~CMjpegPropertyPage() {
  Deactivate();
  ReleaseObjects();
  m_site.Reset();
  tavpack::PackObjectDestroyed();
}

STDMETHODIMP CMjpegPropertyPage::QueryInterface(REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IPropertyPage)) {
    *object = static_cast<IPropertyPage*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CMjpegPropertyPage::AddRef() { return ++m_refs; }

STDMETHODIMP_(ULONG) CMjpegPropertyPage::Release() {
  const ULONG refs = --m_refs;
  if (refs == 0) delete this;
  return refs;
}

STDMETHODIMP CMjpegPropertyPage::SetPageSite(IPropertyPageSite* site) {
  if (site != nullptr && m_site) return E_UNEXPECTED;
  m_site.Reset();
  m_site = NonThrowingComPtr<IPropertyPageSite>::Share(site);
  return S_OK;
}

STDMETHODIMP CMjpegPropertyPage::Activate(HWND parent, LPCRECT rect, BOOL /*modal*/) {
  if (rect == nullptr) return E_POINTER;
  if (m_window != nullptr) return E_UNEXPECTED;
  if (!RegisterPageClass()) return HRESULT_FROM_WIN32(GetLastError());
  m_window =
      CreateWindowExW(WS_EX_CONTROLPARENT, kWindowClass, L"", WS_CHILD | WS_CLIPCHILDREN, rect->left, rect->top,
                      rect->right - rect->left, rect->bottom - rect->top, parent, nullptr, ModuleInstance(), nullptr);
  if (m_window == nullptr) return HRESULT_FROM_WIN32(GetLastError());
  SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  SetWindowLongPtrW(m_window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&CMjpegPropertyPage::WindowProc));
  // The frame Wine opens hosts the page in a property sheet page and never
  // calls Apply: the page listens for the sheet's own PSN_APPLY instead.
  if (parent != nullptr && SetPropW(parent, kPageProperty, this)) {
    m_parent = parent;
    m_parentProc = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(parent, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&CMjpegPropertyPage::ParentProc)));
  }

  const HFONT font = static_cast<HFONT>(GetStockObject(DEFAULT_GUI_FONT));
  HWND label = CreateWindowExW(0, L"STATIC", L"Quality (1-100):", WS_CHILD | WS_VISIBLE, 10, 14, 110, 20, m_window,
                               nullptr, ModuleInstance(), nullptr);
  m_edit = CreateWindowExW(WS_EX_CLIENTEDGE, L"EDIT", L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | ES_NUMBER, 125, 10, 60,
                           22, m_window, reinterpret_cast<HMENU>(static_cast<INT_PTR>(kQualityEditId)),
                           ModuleInstance(), nullptr);
  HWND hint = CreateWindowExW(0, L"STATIC", L"Higher values keep more detail and make larger frames.",
                              WS_CHILD | WS_VISIBLE, 10, 44, 280, 20, m_window, nullptr, ModuleInstance(), nullptr);
  for (HWND control : {label, m_edit, hint}) {
    if (control != nullptr) SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
  }
  SendMessageW(m_edit, EM_LIMITTEXT, 3, 0);

  double quality = kMjpegDefaultQuality / 100.0;
  if (m_compression) m_compression->get_Quality(&quality);
  wchar_t text[16] = {};
  swprintf(text, 16, L"%d", static_cast<int>(std::lround(quality * 100.0)));
  m_filling = true;
  SetWindowTextW(m_edit, text);
  m_filling = false;
  m_dirty = false;
  return S_OK;
}

STDMETHODIMP CMjpegPropertyPage::Deactivate() {
  if (m_parent != nullptr) {
    SetWindowLongPtrW(m_parent, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(m_parentProc));
    RemovePropW(m_parent, kPageProperty);
    m_parent = nullptr;
    m_parentProc = nullptr;
  }
  if (m_window != nullptr) DestroyWindow(m_window);
  m_window = nullptr;
  m_edit = nullptr;
  return S_OK;
}

STDMETHODIMP CMjpegPropertyPage::GetPageInfo(PROPPAGEINFO* info) {
  if (info == nullptr) return E_POINTER;
  info->cb = sizeof(PROPPAGEINFO);
  info->pszTitle = static_cast<LPOLESTR>(CoTaskMemAlloc(sizeof(kTitle)));
  if (info->pszTitle == nullptr) return E_OUTOFMEMORY;
  memcpy(info->pszTitle, kTitle, sizeof(kTitle));
  info->size = kPageSize;
  info->pszDocString = nullptr;
  info->pszHelpFile = nullptr;
  info->dwHelpContext = 0;
  return S_OK;
}

void CMjpegPropertyPage::ReleaseObjects() { m_compression.Reset(); }

STDMETHODIMP CMjpegPropertyPage::SetObjects(ULONG count, IUnknown** objects) {
  ReleaseObjects();
  if (count == 0) return S_OK;
  if (objects == nullptr || objects[0] == nullptr) return E_POINTER;
  // The filter itself, or the output pin that answers IAMVideoCompression.
  if (SUCCEEDED(objects[0]->QueryInterface(IID_IAMVideoCompression, m_compression.PutVoid()))) return S_OK;
  NonThrowingComPtr<IBaseFilter> filter;
  if (FAILED(objects[0]->QueryInterface(IID_IBaseFilter, filter.PutVoid()))) return E_NOINTERFACE;
  NonThrowingComPtr<IEnumPins> pins;
  if (SUCCEEDED(filter->EnumPins(pins.Put()))) {
    NonThrowingComPtr<IPin> pin;
    while (!m_compression && pins->Next(1, pin.Put(), nullptr) == S_OK)
      pin->QueryInterface(IID_IAMVideoCompression, m_compression.PutVoid());
  }
  return m_compression ? S_OK : E_NOINTERFACE;
}

STDMETHODIMP CMjpegPropertyPage::Show(UINT command) {
  if (m_window == nullptr) return E_UNEXPECTED;
  ShowWindow(m_window, static_cast<int>(command));
  return S_OK;
}

STDMETHODIMP CMjpegPropertyPage::Move(LPCRECT rect) {
  if (rect == nullptr) return E_POINTER;
  if (m_window == nullptr) return E_UNEXPECTED;
  MoveWindow(m_window, rect->left, rect->top, rect->right - rect->left, rect->bottom - rect->top, TRUE);
  return S_OK;
}

STDMETHODIMP CMjpegPropertyPage::IsPageDirty() { return m_dirty ? S_OK : S_FALSE; }

STDMETHODIMP CMjpegPropertyPage::Apply() {
  if (!m_dirty || m_edit == nullptr) return S_OK;
  if (!m_compression) return E_UNEXPECTED;
  wchar_t text[16] = {};
  GetWindowTextW(m_edit, text, 16);
  const int quality = ParseQuality(text);
  if (quality == 0) return E_INVALIDARG;
  const HRESULT hr = m_compression->put_Quality(quality / 100.0);
  if (SUCCEEDED(hr)) m_dirty = false;
  return hr;
}

STDMETHODIMP CMjpegPropertyPage::Help(LPCOLESTR /*helpDir*/) { return E_NOTIMPL; }

STDMETHODIMP CMjpegPropertyPage::TranslateAccelerator(MSG* /*message*/) { return S_FALSE; }

void CMjpegPropertyPage::OnQualityEdited() {
  if (m_filling) return;
  m_dirty = true;
  if (m_site) m_site->OnStatusChange(PROPPAGESTATUS_DIRTY | PROPPAGESTATUS_VALIDATE);
}

LRESULT CALLBACK CMjpegPropertyPage::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* page = reinterpret_cast<CMjpegPropertyPage*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (page != nullptr && message == WM_COMMAND && LOWORD(wParam) == kQualityEditId && HIWORD(wParam) == EN_CHANGE) {
    page->OnQualityEdited();
    return 0;
  }
  return DefWindowProcW(window, message, wParam, lParam);
}

LRESULT CALLBACK CMjpegPropertyPage::ParentProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* page = static_cast<CMjpegPropertyPage*>(GetPropW(window, kPageProperty));
  if (page == nullptr) return DefWindowProcW(window, message, wParam, lParam);
  if (message == WM_NOTIFY && lParam != 0 && reinterpret_cast<const NMHDR*>(lParam)->code == PSN_APPLY) {
    const HRESULT hr = page->Apply();
    SetWindowLongPtrW(window, DWLP_MSGRESULT, SUCCEEDED(hr) ? PSNRET_NOERROR : PSNRET_INVALID_NOCHANGEPAGE);
    return TRUE;
  }
  // Deactivate may put the old procedure back during this call.
  const WNDPROC previous = page->m_parentProc;
  return CallWindowProcW(previous, window, message, wParam, lParam);
}
