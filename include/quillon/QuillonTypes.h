// The types of Quillon's public members: the enumerations that properties take, what the property
// list tells of each property, the record of a failure, the ids of methods and events, and the
// macros that turn a row of QuillonProperties.inc into the C++ types of its typed members.
#pragma once

#include <cstdint>
#include <string>

// The library is built with hidden symbols; what carries this mark is its public interface.
#define QUILLON_API __attribute__((visibility("default")))

namespace quillon {

// Enumerations
enum class AuthSchemes : int {
  authBasic = 0,
  authDigest = 1,
  authProprietary = 2,
  authNone = 3,
  authNtlm = 4,
  authNegotiate = 5,
  authOAuth = 6,
};
enum class AtomTextTypes : int { ttText = 0, ttHTML = 1, ttXHTML = 2 };
enum class FirewallTypes : int { fwNone = 0, fwTunnel = 1, fwSOCKS4 = 2, fwSOCKS5 = 3 };
enum class ProxySSLTypes : int { psAutomatic = 0, psAlways = 1, psNever = 2, psTunnel = 3 };
enum class AssociationMultiplicities : int { nmZeroOne = 0, nmOne = 1, nmMany = 2 };
enum class AssociationDeleteActions : int { daNone = 0, daCascade = 1 };
enum class CertStoreTypes : int {
  cstUser = 0,
  cstMachine = 1,
  cstPFXFile = 2,
  cstPFXBlob = 3,
  cstJKSFile = 4,
  cstJKSBlob = 5,
  cstPEMKeyFile = 6,
  cstPEMKeyBlob = 7,
  cstPublicKeyFile = 8,
  cstPublicKeyBlob = 9,
  cstSSHPublicKeyBlob = 10,
  cstP7BFile = 11,
  cstP7BBlob = 12,
  cstSSHPublicKeyFile = 13,
  cstPPKFile = 14,
  cstPPKBlob = 15,
  cstXMLFile = 16,
  cstXMLBlob = 17,
};

// What a property holds, as the property list tells it.
enum class PropertyType { Text, Integer, Boolean, Enumeration, Bytes };

struct PropertyInfo {
  int id;           // the member's id; also its place in the public table
  std::string name; // the public name, such as "ServiceRootURI"
  PropertyType type;
  bool readOnly;
  std::string indexName; // the name of the index for an indexed property, else empty
  bool designTime;       // may be read while the host is in design mode
  int helpNumber;        // the help number of its failures
};

// The latest failure of a member, as a host of the component's dispatch interface would see it.
struct Failure {
  int code = 0;            // the member's result: the engine's code or the surface's own
  uint32_t value = 0;      // the failure value (0x800A017F for a write of a read-only property)
  int helpNumber = 0;      // the member's help number; 0 when the failure carries none
  std::string description; // what the host is told
};

// Method ids, the order of the dispatch interface.
enum class MethodId : int {
  AboutBox = -552,
  Config = 502,
  CreateEntry = 503,
  CustomRequest = 504,
  DeleteEntry = 505,
  GetEntryProperty = 506,
  GetSchema = 507,
  HasXPath = 508,
  QueryService = 509,
  Reset = 510,
  SetEntryProperty = 511,
  SetSchemaEntity = 512,
  SetSchemaProperty = 513,
  SetSchemaType = 514,
  UpdateEntry = 515,
  UpdateProperty = 516,
};

// Event ids: the place of each operation of QuillonEvents.
enum class EventId : int {
  Connected = 1,
  Disconnected = 2,
  EndTransfer = 3,
  Entity = 4,
  Entry = 5,
  Error = 6,
  Header = 7,
  Property = 8,
  SetCookie = 9,
  SSLServerAuthentication = 10,
  SSLStatus = 11,
  StartTransfer = 12,
  Status = 13,
  Transfer = 14,
};

} // namespace quillon

// The C++ type that a typed getter returns for each Type of the table, and that a setter takes.
#define QUILLON_VALUE_Text std::string
#define QUILLON_VALUE_Counted std::string
#define QUILLON_VALUE_Bytes std::string
#define QUILLON_VALUE_Int int
#define QUILLON_VALUE_Bool bool
#define QUILLON_VALUE_AuthSchemes AuthSchemes
#define QUILLON_VALUE_AtomTextTypes AtomTextTypes
#define QUILLON_VALUE_FirewallTypes FirewallTypes
#define QUILLON_VALUE_ProxySSLTypes ProxySSLTypes
#define QUILLON_VALUE_AssociationMultiplicities AssociationMultiplicities
#define QUILLON_VALUE_AssociationDeleteActions AssociationDeleteActions
#define QUILLON_VALUE_CertStoreTypes CertStoreTypes
#define QUILLON_PARAM_Text std::string_view
#define QUILLON_PARAM_Counted std::string_view
#define QUILLON_PARAM_Bytes std::string_view
#define QUILLON_PARAM_Int int
#define QUILLON_PARAM_Bool bool
#define QUILLON_PARAM_AuthSchemes AuthSchemes
#define QUILLON_PARAM_AtomTextTypes AtomTextTypes
#define QUILLON_PARAM_FirewallTypes FirewallTypes
#define QUILLON_PARAM_ProxySSLTypes ProxySSLTypes
#define QUILLON_PARAM_AssociationMultiplicities AssociationMultiplicities
#define QUILLON_PARAM_AssociationDeleteActions AssociationDeleteActions
#define QUILLON_PARAM_CertStoreTypes CertStoreTypes

// The index parameter of a member by the Index of its row: none, or `int index`.
#define QUILLON_INDEX_None
#define QUILLON_INDEX_Cookie int index
#define QUILLON_INDEX_ParsedHeader int index
#define QUILLON_INDEX_EntryLinks int index
#define QUILLON_INDEX_EntryProperties int index
#define QUILLON_INDEX_SchemaKeys int index
#define QUILLON_INDEX_Attr int index
#define QUILLON_INDEX_XChild int index
// The same in front of a setter's value.
#define QUILLON_INDEX_FIRST_None
#define QUILLON_INDEX_FIRST_Cookie int index,
#define QUILLON_INDEX_FIRST_ParsedHeader int index,
#define QUILLON_INDEX_FIRST_EntryLinks int index,
#define QUILLON_INDEX_FIRST_EntryProperties int index,
#define QUILLON_INDEX_FIRST_SchemaKeys int index,
#define QUILLON_INDEX_FIRST_Attr int index,
#define QUILLON_INDEX_FIRST_XChild int index,
// The index a member passes on: -1 for a property without one.
#define QUILLON_INDEX_ARG_None -1
#define QUILLON_INDEX_ARG_Cookie index
#define QUILLON_INDEX_ARG_ParsedHeader index
#define QUILLON_INDEX_ARG_EntryLinks index
#define QUILLON_INDEX_ARG_EntryProperties index
#define QUILLON_INDEX_ARG_SchemaKeys index
#define QUILLON_INDEX_ARG_Attr index
#define QUILLON_INDEX_ARG_XChild index

// The typed members of one row: a getter, and a setter unless the property is read-only.
#define QUILLON_DECLARE_SETTER_rw(Name, Type, Index)                                               \
  int Set##Name(QUILLON_INDEX_FIRST_##Index QUILLON_PARAM_##Type value);
#define QUILLON_DECLARE_SETTER_ro(Name, Type, Index)
#define QUILLON_DECLARE_MEMBERS(Name, Type, Index, Access)                                         \
  QUILLON_VALUE_##Type Name(QUILLON_INDEX_##Index) const;                                          \
  QUILLON_DECLARE_SETTER_##Access(Name, Type, Index)
