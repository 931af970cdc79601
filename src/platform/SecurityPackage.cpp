// GSS-API through dlopen: the header gives the types and prototypes, and each function is looked
// up by name in "libgssapi_krb5.so.2" at the first call. The object identifiers are spelled out
// here, since the library's exported OID variables would need the library at link time.
#include "platform/SecurityPackage.h"

#include "frame/Errors.h"

#include <cstring>
#include <dlfcn.h>
#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>

namespace quillon::platform {

namespace {
gss_OID_desc kSpnegoOid = {6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};
gss_OID_desc kKerberosOid = {9, const_cast<char*>("\x2a\x86\x48\x86\xf7\x12\x01\x02\x02")};
gss_OID_desc kHostBasedOid = {10, const_cast<char*>("\x2a\x86\x48\x86\xf7\x12\x01\x02\x01\x04")};
gss_OID_desc kUserNameOid = {10, const_cast<char*>("\x2a\x86\x48\x86\xf7\x12\x01\x02\x01\x01")};
gss_OID_set_desc kSpnegoSet = {1, &kSpnegoOid};
gss_OID_set_desc kKerberosSet = {1, &kKerberosOid};

struct GssFunctions {
  decltype(&gss_import_name) importName;
  decltype(&gss_release_name) releaseName;
  decltype(&gss_acquire_cred) acquireCred;
  decltype(&gss_acquire_cred_with_password) acquireCredWithPassword;
  decltype(&gss_set_neg_mechs) setNegMechs;
  decltype(&gss_release_cred) releaseCred;
  decltype(&gss_init_sec_context) initSecContext;
  decltype(&gss_delete_sec_context) deleteSecContext;
  decltype(&gss_release_buffer) releaseBuffer;
  decltype(&gss_display_status) displayStatus;
};

struct Library {
  const char* fileName = "libgssapi_krb5.so.2";
  bool tried = false;
  void* handle = nullptr;
  GssFunctions gss{};
};
Library library;

template <typename F> bool Find(F& function, const char* name) {
  function = reinterpret_cast<F>(dlsym(library.handle, name));
  return function != nullptr;
}

const GssFunctions* Gss() {
  if (!library.tried) {
    library.tried = true;
    library.handle = dlopen(library.fileName, RTLD_NOW | RTLD_LOCAL);
    GssFunctions& f = library.gss;
    const bool complete =
        library.handle && Find(f.importName, "gss_import_name") &&
        Find(f.releaseName, "gss_release_name") && Find(f.acquireCred, "gss_acquire_cred") &&
        Find(f.acquireCredWithPassword, "gss_acquire_cred_with_password") &&
        Find(f.setNegMechs, "gss_set_neg_mechs") && Find(f.releaseCred, "gss_release_cred") &&
        Find(f.initSecContext, "gss_init_sec_context") &&
        Find(f.deleteSecContext, "gss_delete_sec_context") &&
        Find(f.releaseBuffer, "gss_release_buffer") && Find(f.displayStatus, "gss_display_status");
    if (!complete && library.handle) {
      dlclose(library.handle);
      library.handle = nullptr;
    }
  }
  return library.handle ? &library.gss : nullptr;
}

gss_buffer_desc Buffer(std::string_view bytes) {
  return {bytes.size(), const_cast<char*>(bytes.data())};
}

// Appends the library's texts of one kind of status, joined by "; ".
void AppendStatusText(const GssFunctions& gss, BufStrBase& out, uint32_t status, int type) {
  OM_uint32 more = 0;
  do {
    OM_uint32 minor = 0;
    gss_buffer_desc text = GSS_C_EMPTY_BUFFER;
    if (GSS_ERROR(gss.displayStatus(&minor, status, type, GSS_C_NO_OID, &more, &text))) return;
    if (!out.IsEmpty()) out.Append("; ");
    out.Append(static_cast<const char*>(text.value), static_cast<int>(text.length));
    gss.releaseBuffer(&minor, &text);
  } while (more != 0);
}
} // namespace

bool SecurityLibraryAvailable() {
  return Gss() != nullptr;
}

void ReloadSecurityLibrary(const char* fileName) {
  if (library.handle) dlclose(library.handle);
  library = Library{};
  library.fileName = fileName;
}

SecuritySession::~SecuritySession() {
  DeleteContext();
  FreeCredentials();
}

uint32_t SecuritySession::Failed(uint32_t major, uint32_t minor) {
  errorText.Clear();
  if (const GssFunctions* gss = Gss()) {
    AppendStatusText(*gss, errorText, major, GSS_C_GSS_CODE);
    if (minor != 0) AppendStatusText(*gss, errorText, minor, GSS_C_MECH_CODE);
  } else {
    errorText.Assign("The security library could not be loaded");
  }
  return major;
}

uint32_t SecuritySession::AcquireCredentials(std::string_view principal,
                                             std::string_view password) {
  const GssFunctions* gss = Gss();
  if (!gss) return Failed(kSecurityLibraryMissing, 0);
  FreeCredentials();
  OM_uint32 minor = 0;
  OM_uint32 major = 0;
  gss_cred_id_t cred = GSS_C_NO_CREDENTIAL;
  if (principal.empty()) {
    major = gss->acquireCred(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &kSpnegoSet, GSS_C_INITIATE,
                             &cred, nullptr, nullptr);
  } else {
    gss_buffer_desc nameText = Buffer(principal);
    gss_name_t name = GSS_C_NO_NAME;
    major = gss->importName(&minor, &nameText, &kUserNameOid, &name);
    if (GSS_ERROR(major)) return Failed(major, minor);
    gss_buffer_desc secret = Buffer(password);
    major = gss->acquireCredWithPassword(&minor, name, &secret, GSS_C_INDEFINITE, &kSpnegoSet,
                                         GSS_C_INITIATE, &cred, nullptr, nullptr);
    OM_uint32 ignored = 0;
    gss->releaseName(&ignored, &name);
  }
  if (GSS_ERROR(major)) return Failed(major, minor);
  credential = cred;
  // Negotiate offers Kerberos alone, whatever other mechanisms the library has installed.
  major = gss->setNegMechs(&minor, cred, &kKerberosSet);
  if (GSS_ERROR(major)) return Failed(major, minor);
  return 0;
}

uint32_t SecuritySession::Step(std::string_view target, std::string_view input,
                               std::string_view bindings, BufStrBase& out, bool& complete) {
  out.Clear();
  complete = false;
  const GssFunctions* gss = Gss();
  if (!gss) return Failed(kSecurityLibraryMissing, 0);
  OM_uint32 minor = 0;
  gss_buffer_desc targetText = Buffer(target);
  gss_name_t name = GSS_C_NO_NAME;
  OM_uint32 major = gss->importName(&minor, &targetText, &kHostBasedOid, &name);
  if (GSS_ERROR(major)) return Failed(major, minor);
  gss_channel_bindings_struct channel{};
  channel.application_data = Buffer(bindings);
  gss_buffer_desc inputToken = context ? Buffer(input) : gss_buffer_desc{0, nullptr};
  gss_buffer_desc outputToken = GSS_C_EMPTY_BUFFER;
  gss_ctx_id_t ctx = static_cast<gss_ctx_id_t>(context);
  major = gss->initSecContext(&minor, static_cast<gss_cred_id_t>(credential), &ctx, name,
                              &kSpnegoOid, GSS_C_MUTUAL_FLAG, GSS_C_INDEFINITE,
                              bindings.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &channel, &inputToken,
                              nullptr, &outputToken, nullptr, nullptr);
  context = ctx;
  OM_uint32 ignored = 0;
  gss->releaseName(&ignored, &name);
  int rc = errNone;
  if (outputToken.length > 0)
    rc = out.Assign(static_cast<const char*>(outputToken.value),
                    static_cast<int>(outputToken.length));
  gss->releaseBuffer(&ignored, &outputToken);
  if (GSS_ERROR(major)) return Failed(major, minor);
  if (rc != errNone) return Failed(GSS_S_FAILURE, 0);
  complete = major == GSS_S_COMPLETE;
  return 0;
}

void SecuritySession::DeleteContext() {
  const GssFunctions* gss = Gss();
  if (!context || !gss) return;
  OM_uint32 minor = 0;
  gss_ctx_id_t ctx = static_cast<gss_ctx_id_t>(context);
  gss->deleteSecContext(&minor, &ctx, GSS_C_NO_BUFFER);
  context = nullptr;
}

void SecuritySession::FreeCredentials() {
  const GssFunctions* gss = Gss();
  if (!credential || !gss) return;
  OM_uint32 minor = 0;
  gss_cred_id_t cred = static_cast<gss_cred_id_t>(credential);
  gss->releaseCred(&minor, &cred);
  credential = nullptr;
}

} // namespace quillon::platform
