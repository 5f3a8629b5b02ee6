// HostABI.h: the binary contract between the host and an add-on module.
//
// Records are byte blocks of the host's sizes; every field is read and written at its named
// offset through GetField and SetField, so both sides agree byte for byte. Texts in records are
// terminated; 8-bit texts are in the default character code (Windows-1250).
//
// The host hands the add-on a table of kHostTableEntries function addresses; the entries listed
// in HostEntry are the ones this add-on calls, each with the signature below: first argument the
// host's token, result a 32-bit status (0 or a host error code).
#pragma once

#include "hostkit/GSArray.h"
#include "hostkit/GSGuid.h"
#include "hostkit/GSTypes.h"
#include "hostkit/UniString.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <type_traits>

// ---- Records ----

template <std::size_t Size> struct alignas(8) HostRecord {
    static constexpr std::size_t kSize = Size;
    std::byte bytes[Size];
};

template <typename T, std::size_t Size>
T GetField(const HostRecord<Size>& record, std::size_t offset) {
    static_assert(std::is_trivially_copyable_v<T>);
    T value;
    std::memcpy(&value, record.bytes + offset, sizeof(T));
    return value;
}

template <typename T, std::size_t Size>
void SetField(HostRecord<Size>& record, std::size_t offset, const T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    std::memcpy(record.bytes + offset, &value, sizeof(T));
}

template <std::size_t Size> void ZeroRecord(HostRecord<Size>& record) {
    std::memset(record.bytes, 0, Size);
}

// A field of `width` bytes at `offset` lies inside a record of `size` bytes.
constexpr bool FieldFits(std::size_t offset, std::size_t width, std::size_t size) {
    return offset + width <= size;
}

// The record GetExportedFuncAddrs fills.
using ExportRecord = HostRecord<120>;
namespace ExportField {
constexpr std::size_t Version = 0;  // int32, 0x00140001
constexpr std::size_t Describe = 8;
constexpr std::size_t Register = 16;
constexpr std::size_t Start = 24;
constexpr std::size_t Stop = 32;
constexpr std::size_t Release = 40;  // int32, 20000
constexpr int32_t kVersionValue = 0x00140001;
constexpr int32_t kReleaseValue = 20000;
static_assert(FieldFits(Release, 4, ExportRecord::kSize));
}  // namespace ExportField

// The environment record given to AddOnDescribe.
using EnvironmentRecord = HostRecord<1024>;
namespace EnvironmentField {
constexpr std::size_t ApplicationKind = 0;  // int32; 1 is the building-design application
constexpr std::size_t Name = 128;           // 8-bit text
constexpr std::size_t Description = 384;    // 8-bit text
constexpr std::size_t kTextCapacity = 256;  // bytes of each text, terminator included
constexpr int32_t kApplicationKindArchiCAD = 1;
static_assert(FieldFits(Name, kTextCapacity, Description));
static_assert(FieldFits(Description, kTextCapacity, EnvironmentRecord::kSize));
}  // namespace EnvironmentField

// The head of every element record, and what an element event carries.
using ElementHeader = HostRecord<112>;
namespace ElementHeaderField {
constexpr std::size_t Type = 0;   // int32
constexpr std::size_t Guid = 16;  // API_Guid
static_assert(FieldFits(Guid, sizeof(API_Guid), ElementHeader::kSize));
}  // namespace ElementHeaderField

// Element types.
namespace ElementType {
constexpr int32_t Wall = 1;
constexpr int32_t Column = 2;
constexpr int32_t Beam = 3;
constexpr int32_t Window = 4;
constexpr int32_t Door = 5;
constexpr int32_t Object = 6;
constexpr int32_t Lamp = 7;
constexpr int32_t Slab = 8;
// Types 4 to 7 refer to a library part.
constexpr bool RefersToLibPart(int32_t type) { return type >= Window && type <= Lamp; }
}  // namespace ElementType

// An element: its header, then the fields of its type.
using ElementRecord = HostRecord<3072>;
namespace ElementField {
constexpr std::size_t Header = 0;
constexpr std::size_t Type = 0;               // int32
constexpr std::size_t Guid = 16;              // API_Guid
constexpr std::size_t OpeningLibIndex = 184;  // int32, types 4 and 5
constexpr std::size_t ObjectLibIndex = 268;   // int32, types 6 and 7
static_assert(FieldFits(ObjectLibIndex, 4, ElementRecord::kSize));
// Where an element of `type` keeps its library part index; 0 for types without one.
constexpr std::size_t LibIndexOffset(int32_t type) {
    return type == ElementType::Window || type == ElementType::Door   ? OpeningLibIndex
           : type == ElementType::Object || type == ElementType::Lamp ? ObjectLibIndex
                                                                      : 0;
}
}  // namespace ElementField

// The record passed to an element event handler.
using ElementEventRecord = HostRecord<120>;
namespace ElementEventField {
constexpr std::size_t Event = 0;   // int32
constexpr std::size_t Header = 8;  // ElementHeader
constexpr std::size_t Type = 8;    // int32, the header's type
constexpr std::size_t Guid = 24;   // API_Guid, the header's identifier
static_assert(FieldFits(Header, ElementHeader::kSize, ElementEventRecord::kSize));
}  // namespace ElementEventField

// Element events.
namespace ElementEvent {
constexpr int32_t BurstBegin = -1;  // 0xFFFFFFFF
constexpr int32_t BurstEnd = -2;    // 0xFFFFFFFE
constexpr int32_t Placed = 1;
constexpr int32_t Copied = 2;
constexpr int32_t Changed = 3;
constexpr int32_t Edited = 4;
constexpr int32_t Deleted = 5;
constexpr int32_t FirstUndoRedo = 6;
constexpr int32_t LastUndoRedo = 11;
constexpr int32_t ParameterChangedByUser = 12;
}  // namespace ElementEvent

// Project events; each is also its bit in the mask of CatchProjectEvent.
namespace ProjectEvent {
constexpr int32_t NewProject = 0x1;
constexpr int32_t NewAndReset = 0x2;
constexpr int32_t OpenProject = 0x4;
constexpr int32_t CloseProject = 0x20;
constexpr int32_t LibraryChanged = 0x200000;
}  // namespace ProjectEvent

// A library part.
using LibPartRecord = HostRecord<1344>;
namespace LibPartField {
constexpr std::size_t Index = 4;         // int32, from 1, set by the caller
constexpr std::size_t DocumentName = 8;  // UTF-16, terminated
constexpr std::size_t kDocumentNameUnits = 256;
constexpr std::size_t Location = 1072;  // IO::Location*, the host's, valid while open
static_assert(FieldFits(DocumentName, 2 * kDocumentNameUnits, Location));
static_assert(FieldFits(Location, sizeof(void*), LibPartRecord::kSize));
}  // namespace LibPartField

// Parameter type ids of the parameter record.
namespace ParameterType {
constexpr int32_t Integer = 1;
constexpr int32_t Length = 2;
constexpr int32_t Angle = 3;
constexpr int32_t RealNum = 4;
constexpr int32_t LightSwitch = 5;
constexpr int32_t ColorRGB = 6;
constexpr int32_t Intensity = 7;
constexpr int32_t LineType = 8;
constexpr int32_t Material = 9;
constexpr int32_t FillPattern = 10;
constexpr int32_t PenColor = 11;
constexpr int32_t String = 12;
constexpr int32_t Boolean = 13;
constexpr int32_t Separator = 14;
constexpr int32_t Title = 15;
// Types whose value is text; every other type holds a double.
constexpr bool IsText(int32_t type) { return type == String; }
}  // namespace ParameterType

// One parameter of a library part or an element.
using ParameterRecord = HostRecord<1600>;
namespace ParameterField {
constexpr std::size_t Type = 0;          // int32, a ParameterType
constexpr std::size_t Form = 6;          // int16: 0 plain, 2 array
constexpr std::size_t Name = 8;          // 8-bit text
constexpr std::size_t kNameBytes = 32;   // terminator included
constexpr std::size_t Description = 40;  // UTF-16, terminated
constexpr std::size_t kDescriptionUnits = 256;
constexpr std::size_t Dimension1 = 1072;         // int32, rows of an array
constexpr std::size_t Dimension2 = 1076;         // int32, columns of an array
constexpr std::size_t ArrayDescriptions = 1080;  // GSHandle or null, form 2
constexpr std::size_t ArrayValues = 1088;        // GSHandle, form 2
constexpr std::size_t Value = 1088;              // double, or UTF-16 text, terminated
constexpr std::size_t kTextValueUnits = 255;     // terminator not included
constexpr int16_t kFormPlain = 0;
constexpr int16_t kFormArray = 2;
static_assert(FieldFits(Name, kNameBytes, Description));
static_assert(FieldFits(Description, 2 * kDescriptionUnits, Dimension1));
static_assert(FieldFits(Value, 2 * (kTextValueUnits + 1), ParameterRecord::kSize));
}  // namespace ParameterField
// An array's values: numbers as doubles, row by row; texts as terminated UTF-16 texts one after
// the other. Its descriptions, when there are any, are terminated UTF-16 texts, one per value.

// The memo of an element: 63 pointer-sized fields, of which the host fills what the mask asks.
using ElementMemo = HostRecord<504>;
namespace MemoField {
constexpr std::size_t kFieldCount = 63;
constexpr std::size_t Params = 48;  // GSHandle of ParameterRecord
static_assert(kFieldCount * sizeof(void*) == ElementMemo::kSize);
}  // namespace MemoField
constexpr uint64_t kMemoAllMask = 0x1EFFFFFFFull;

namespace GS {
// Base of the objects a memo may hold; deleted through its virtual destructor.
class Object {
public:
    virtual ~Object();
};
}  // namespace GS

// What each memo field holds, so that the one who frees a memo knows how.
enum class MemoFieldKind : int32_t {
    Empty,            // never used
    Handle,           // BMKillHandle
    Pointer,          // BMKillPtr
    Object,           // a GS::Object*, deleted
    ParameterHandle,  // a handle of ParameterRecord; array records hold two further handles
    RecordHandle,     // a handle of records of `recordSize` bytes, each with an inner field
};
enum class MemoInnerKind : int32_t { None, Handle, Object };
struct MemoFieldInfo {
    MemoFieldKind kind;
    int32_t recordSize;       // RecordHandle: bytes of one record
    int32_t innerOffset;      // RecordHandle: offset of the inner field in each record
    MemoInnerKind innerKind;  // RecordHandle: what that field holds
};
// Field i lies at byte 8 * i of the memo.
extern const std::array<MemoFieldInfo, MemoField::kFieldCount> kMemoFields;

// The records of the parameter session of CallUtility.
using OpenParametersRecord = HostRecord<32>;
namespace OpenParametersField {
constexpr std::size_t Guid = 0;   // API_Guid
constexpr std::size_t Type = 20;  // int32, the element's type
static_assert(FieldFits(Type, 4, OpenParametersRecord::kSize));
}  // namespace OpenParametersField

using ChangeParameterRecord = HostRecord<576>;
namespace ChangeParameterField {
constexpr std::size_t Name = 0;  // 8-bit text
constexpr std::size_t kNameBytes = 32;
constexpr std::size_t RealValue = 56;  // double
constexpr std::size_t TextValue = 64;  // const GS::UniChar*, or null for a number
static_assert(FieldFits(TextValue, sizeof(void*), ChangeParameterRecord::kSize));
}  // namespace ChangeParameterField

using GetParametersRecord = HostRecord<32>;
namespace GetParametersField {
constexpr std::size_t Params = 16;  // GSHandle of ParameterRecord, the caller's
static_assert(FieldFits(Params, sizeof(void*), GetParametersRecord::kSize));
}  // namespace GetParametersField

// Codes of CallUtility.
namespace UtilityCode {
constexpr int32_t OpenParameters = 0x4F504152;   // "OPAR"
constexpr int32_t ChangeParameter = 0x43484750;  // "CHGP"
constexpr int32_t GetParameters = 0x47504152;    // "GPAR"
constexpr int32_t CloseParameters = 0x43504152;  // "CPAR"
}  // namespace UtilityCode

// ---- Status codes the two sides exchange ----
namespace HostError {
constexpr int32_t General = static_cast<int32_t>(0x81060001u);  // also: table not loaded
constexpr int32_t BadId = static_cast<int32_t>(0x81060065u);
constexpr int32_t BadIndex = static_cast<int32_t>(0x81060066u);
constexpr int32_t BadName = static_cast<int32_t>(0x81060067u);
constexpr int32_t BadParameters = static_cast<int32_t>(0x81060068u);
constexpr int32_t NoProject = static_cast<int32_t>(0x810600CBu);
constexpr int32_t LinkExists = static_cast<int32_t>(0x810600DEu);
constexpr int32_t NotReentrant = static_cast<int32_t>(0x81060386u);
constexpr int32_t NotSupported = static_cast<int32_t>(0x81060387u);
constexpr int32_t CommandThrew = static_cast<int32_t>(0x8106038Cu);
constexpr int32_t NeedsUndoScope = static_cast<int32_t>(0x8106038Du);
}  // namespace HostError

// ---- The function table ----

using API_Token = void*;
constexpr std::size_t kHostTableEntries = 516;
constexpr std::size_t kHostTableBytes = kHostTableEntries * sizeof(void*);
static_assert(kHostTableBytes == 4128);
using HostFunctionTable = std::array<void*, kHostTableEntries>;

using ProjectEventHandlerFn = int32_t (*)(int32_t eventNumber, uint32_t parameter);
using ElementEventHandlerFn = int32_t (*)(const ElementEventRecord* event);

namespace HostEntry {
constexpr std::size_t CallUndoable = 72;
constexpr std::size_t CallUtility = 83;
constexpr std::size_t GetLibPartCount = 130;
constexpr std::size_t GetLibPart = 133;
constexpr std::size_t GetLibPartParams = 134;
constexpr std::size_t GetElement = 164;
constexpr std::size_t GetElementMemo = 165;
constexpr std::size_t GetElementList = 166;
constexpr std::size_t ChangeElement = 175;
constexpr std::size_t AttachObserver = 189;
constexpr std::size_t CatchProjectEvent = 296;
constexpr std::size_t CatchNewElement = 300;
constexpr std::size_t InstallElementObserver = 301;
static_assert(InstallElementObserver < kHostTableEntries);

using CallUndoableFn = int32_t (*)(API_Token, const GS::UniString& title,
                                   const std::function<int32_t()>& command);
using CallUtilityFn = int32_t (*)(API_Token, int32_t code, void* first, void* second, void* third);
using GetLibPartCountFn = int32_t (*)(API_Token, int32_t* count);
using GetLibPartFn = int32_t (*)(API_Token, LibPartRecord* part);
using GetLibPartParamsFn = int32_t (*)(API_Token, int32_t index, double* a, double* b,
                                       int32_t* count, GSHandle* params);
using GetElementFn = int32_t (*)(API_Token, ElementRecord* element, int32_t mask);
using GetElementMemoFn = int32_t (*)(API_Token, const ElementHeader* header, ElementMemo* memo,
                                     uint64_t mask);
using GetElementListFn = int32_t (*)(API_Token, int32_t type, GS::Array<API_Guid>* list,
                                     int32_t variation, void* reserved,
                                     const GS::Guid& renovationFilter);
using ChangeElementFn = int32_t (*)(API_Token, ElementRecord* element, const ElementRecord* mask,
                                    const ElementMemo* memo, uint32_t memoMask, bool withDelete);
using AttachObserverFn = int32_t (*)(API_Token, const ElementHeader* header, int32_t flags);
using CatchProjectEventFn = int32_t (*)(API_Token, int32_t mask, ProjectEventHandlerFn handler);
// `typeFilter` points at one element type, or is null for every type.
using CatchNewElementFn = int32_t (*)(API_Token, const int32_t* typeFilter,
                                      ElementEventHandlerFn handler);
using InstallElementObserverFn = int32_t (*)(API_Token, ElementEventHandlerFn handler);
}  // namespace HostEntry

// ---- What the module exports and hands over ----

// The module's two exported functions, by these names.
constexpr const char* kGetExportedFuncAddrsName = "GetExportedFuncAddrs";
constexpr const char* kSetImportedFuncAddrsName = "SetImportedFuncAddrs";
using GetExportedFuncAddrsFn = int32_t (*)(ExportRecord* record);
// `table` points at kHostTableBytes bytes.
using SetImportedFuncAddrsFn = int32_t (*)(const void* table);

// The entry functions, handed over in the export record.
using AddOnDescribeFn = int32_t (*)(EnvironmentRecord* environment);
using AddOnRegisterFn = int32_t (*)(void* unused);
using AddOnStartFn = int32_t (*)(API_Token token);
using AddOnStopFn = int32_t (*)();
