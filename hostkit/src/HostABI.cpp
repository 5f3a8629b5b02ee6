// HostABI.cpp: the out-of-line parts of the host table ABI: GS::Object's destructor and the table
// of what each memo field holds.
#include "hostkit/HostABI.h"

GS::Object::~Object() = default;

namespace {

constexpr MemoFieldInfo Plain(MemoFieldKind kind) { return {kind, 0, 0, MemoInnerKind::None}; }

constexpr MemoFieldInfo Records(int32_t recordSize, int32_t innerOffset, MemoInnerKind inner) {
    return {MemoFieldKind::RecordHandle, recordSize, innerOffset, inner};
}

constexpr std::array<MemoFieldInfo, MemoField::kFieldCount> MakeMemoFields() {
    std::array<MemoFieldInfo, MemoField::kFieldCount> fields{};
    for (MemoFieldInfo& field : fields) {
        field = Plain(MemoFieldKind::Empty);
    }
    for (std::size_t i = 0; i <= 5; ++i) {
        fields[i] = Plain(MemoFieldKind::Handle);
    }
    fields[6] = Plain(MemoFieldKind::ParameterHandle);
    fields[7] = Records(96, 88, MemoInnerKind::Handle);
    fields[8] = Records(112, 104, MemoInnerKind::Handle);
    fields[9] = Records(56, 48, MemoInnerKind::Handle);
    fields[10] = Records(32, 24, MemoInnerKind::Handle);
    fields[11] = Records(192, 184, MemoInnerKind::Handle);
    fields[12] = Records(432, 424, MemoInnerKind::Object);
    fields[13] = Plain(MemoFieldKind::Object);
    fields[14] = Plain(MemoFieldKind::Object);
    fields[15] = Plain(MemoFieldKind::Pointer);
    fields[16] = Plain(MemoFieldKind::Pointer);
    for (std::size_t i = 17; i <= 20; ++i) {
        fields[i] = Plain(MemoFieldKind::Handle);
    }
    return fields;
}

}  // namespace

const std::array<MemoFieldInfo, MemoField::kFieldCount> kMemoFields = MakeMemoFields();

static_assert(MakeMemoFields()[MemoField::Params / 8].kind == MemoFieldKind::ParameterHandle);
