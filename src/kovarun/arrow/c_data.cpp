#include "kovarun/arrow/c_data.h"

#include <memory>
#include <string>
#include <utility>

// Record batches and schemas as the C structures of the Arrow interface. Consumers call `release` in any
// order and on any thread. They may also move a structure by copying its bytes, so nothing may point into the
// structure itself: texts, arrays of pointers and shares of buffers lie in an object of their own behind
// `private_data`. Nothing is copied, and nothing depends on other objects of this library being alive.
namespace lumo::run::arrow {

namespace {

// What an exported structure owns. Children are structures of their own, since a consumer may move one out
// and release it apart from its parent.
template <class Structure>
struct Children {
    std::vector<std::unique_ptr<Structure>> owned;
    std::vector<Structure*> pointers;

    ~Children() {
        for (const auto& child : owned) {
            // A consumer that has moved a child out has marked it as released.
            if (child->release != nullptr) {
                child->release(child.get());
            }
        }
    }
    Structure& add() {
        Structure& child = *owned.emplace_back(std::make_unique<Structure>());
        pointers.push_back(&child);
        return child;
    }
};

struct SchemaParts {
    std::string format;
    std::string name;
    Children<ArrowSchema> children;
};

struct ArrayParts {
    std::vector<Buffer> buffers;
    std::vector<const void*> addresses;
    Children<ArrowArray> children;
};

template <class Structure, class Parts>
void release(Structure* structure) {
    delete static_cast<Parts*>(structure->private_data);
    structure->private_data = nullptr;
    structure->release = nullptr;
}

// `parts` owns everything until the last line, so if memory runs out half-way, children that are complete are
// released and `out` is not left half filled.
void exportField(const std::string& name, const std::string& format, Nulls nulls,
                 const std::vector<Field>& fields, ArrowSchema& out) {
    auto parts = std::make_unique<SchemaParts>();
    parts->format = format;
    parts->name = name;
    for (const Field& field : fields) {
        exportField(field.name, field.format, field.nulls, field.children, parts->children.add());
    }
    out = {};
    out.format = parts->format.c_str();
    out.name = parts->name.c_str();
    out.flags = nulls == Nulls::Possible ? ARROW_FLAG_NULLABLE : 0;
    out.n_children = static_cast<int64_t>(fields.size());
    out.children = parts->children.pointers.data();
    out.release = release<ArrowSchema, SchemaParts>;
    out.private_data = parts.release();
}

void exportColumn(Column&& column, ArrowArray& out) {
    auto parts = std::make_unique<ArrayParts>();
    parts->buffers = std::move(column.buffers);
    for (const Buffer& buffer : parts->buffers) {
        parts->addresses.push_back(buffer.get());
    }
    for (Column& child : column.children) {
        exportColumn(std::move(child), parts->children.add());
    }
    out = {};
    out.length = column.length;
    out.null_count = column.nullCount;
    out.offset = column.offset;
    out.n_buffers = static_cast<int64_t>(parts->addresses.size());
    out.buffers = parts->addresses.data();
    out.n_children = static_cast<int64_t>(parts->children.pointers.size());
    out.children = parts->children.pointers.data();
    out.release = release<ArrowArray, ArrayParts>;
    out.private_data = parts.release();
}

}  // namespace

void exportSchema(const std::vector<Field>& fields, ArrowSchema& out) {
    exportField("", "+s", Nulls::None, fields, out);
}

void exportBatch(RecordBatch&& batch, ArrowArray& out) {
    Column rows;
    rows.length = batch.length;
    // The one buffer of a struct says which rows are valid; none is there, as all are.
    rows.buffers = {nullptr};
    rows.children = std::move(batch.columns);
    exportColumn(std::move(rows), out);
}

}  // namespace lumo::run::arrow
