#include "qvcore/core/MemoryBlock.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace {

void checkSize(int size, const char *what)
{
    if (size < 0)
        throw std::invalid_argument(std::string(what) + ": negative size");
}

// The heap's answer for a non-zero request, or std::bad_alloc.
char *checked(void *p)
{
    if (!p)
        throw std::bad_alloc();
    return static_cast<char *>(p);
}

}  // namespace

// --- MemoryBlock -------------------------------------------------------------------------

MemoryBlock::MemoryBlock() : data_(nullptr), size_(0) {}

MemoryBlock::MemoryBlock(int size) : data_(nullptr), size_(0)
{
    checkSize(size, "MemoryBlock");
    if (size > 0) {
        data_ = checked(std::malloc(size));
        size_ = size;
    }
}

MemoryBlock::MemoryBlock(int size, char fill) : data_(nullptr), size_(0)
{
    checkSize(size, "MemoryBlock");
    if (size == 0)
        return;
    if (fill == 0) {
        data_ = checked(std::calloc(size, 1));
    } else {
        data_ = checked(std::malloc(size));
        std::memset(data_, fill, size);
    }
    size_ = size;
}

MemoryBlock::~MemoryBlock()
{
    std::free(data_);
}

void MemoryBlock::resize(int size, bool keepContent)
{
    checkSize(size, "MemoryBlock::resize");
    if (size == 0) {
        std::free(data_);
        data_ = nullptr;
    } else if (!keepContent) {
        char *fresh = checked(std::malloc(size));
        std::free(data_);
        data_ = fresh;
    } else {
        data_ = checked(data_ ? std::realloc(data_, size) : std::malloc(size));
    }
    size_ = size;
}

// --- NewMemoryBlock::MemoryBlock ---------------------------------------------------------

namespace NewMemoryBlock {

MemoryBlock::Rep *MemoryBlock::newRep(int size)
{
    char *data = checked(std::malloc(size));
    Rep *rep = static_cast<Rep *>(std::malloc(sizeof(Rep)));
    if (!rep) {
        std::free(data);
        throw std::bad_alloc();
    }
    rep->refs = 1;
    rep->data = data;
    rep->size = size;
    return rep;
}

MemoryBlock::MemoryBlock() : rep_(nullptr) {}

MemoryBlock::MemoryBlock(int size) : rep_(size > 0 ? newRep(size) : nullptr) {}

MemoryBlock::MemoryBlock(const MemoryBlock &other) : rep_(other.rep_)
{
    if (rep_)
        ++rep_->refs;
}

MemoryBlock::~MemoryBlock()
{
    release();
}

void MemoryBlock::release()
{
    if (rep_ && --rep_->refs == 0) {
        std::free(rep_->data);
        std::free(rep_);
    }
    rep_ = nullptr;
}

MemoryBlock &MemoryBlock::operator=(const MemoryBlock &other)
{
    if (rep_ != other.rep_) {
        release();
        rep_ = other.rep_;
        if (rep_)
            ++rep_->refs;
    }
    return *this;
}

MemoryBlock::operator const char *() const
{
    return rep_ ? rep_->data : nullptr;
}

MemoryBlock::operator char *()
{
    if (!rep_)
        return nullptr;
    if (rep_->refs != 1) {
        Rep *copy = newRep(rep_->size);
        std::memcpy(copy->data, rep_->data, rep_->size);
        --rep_->refs;  // the other handles still hold it
        rep_ = copy;
    }
    return rep_->data;
}

int MemoryBlock::size() const
{
    return rep_ ? rep_->size : 0;
}

int MemoryBlock::shareCount() const
{
    return rep_ ? rep_->refs : 0;
}

void MemoryBlock::resize(int size)
{
    checkSize(size, "NewMemoryBlock::MemoryBlock::resize");
    if (!rep_) {
        if (size != 0)
            rep_ = newRep(size);
        return;
    }
    if (size == rep_->size)
        return;
    if (rep_->refs != 1) {
        Rep *copy = size > 0 ? newRep(size) : nullptr;
        if (copy)
            std::memcpy(copy->data, rep_->data, std::min(size, rep_->size));
        --rep_->refs;
        rep_ = copy;
    } else if (size > 0) {
        rep_->data = checked(std::realloc(rep_->data, size));
        rep_->size = size;
    } else {
        release();
    }
}

}  // namespace NewMemoryBlock

// --- MemoryBlockVector -------------------------------------------------------------------

MemoryBlockVector::MemoryBlockVector() : chunks_(new std::vector<Chunk>), total_(0), free_(0) {}

MemoryBlockVector::~MemoryBlockVector()
{
    for (const Chunk &chunk : *chunks_)
        std::free(chunk.data);
    delete chunks_;
}

void MemoryBlockVector::append(const char *data, int length)
{
    if (length < 0)
        throw std::invalid_argument("MemoryBlockVector::append: negative length");
    for (;;) {
        int k = std::min(length, free_);
        if (k > 0) {
            Chunk &last = chunks_->back();
            std::memcpy(last.data + (last.capacity - free_), data, k);
            free_ -= k;
            data += k;
            length -= k;
        }
        if (length == 0)
            return;
        int capacity = 65536;
        for (int step : {4096, 8192, 16384, 32768}) {
            if (step >= length) {
                capacity = step;
                break;
            }
        }
        // Room in the list comes first, so that a failure leaves no chunk unaccounted for. It
        // grows by doubling: one slot at a time would copy the whole list for every chunk.
        if (chunks_->size() == chunks_->capacity())
            chunks_->reserve(std::max<std::size_t>(16, 2 * chunks_->capacity()));
        chunks_->push_back(Chunk{capacity, checked(std::malloc(capacity))});
        free_ = capacity;
    }
}

std::string MemoryBlockVector::toString()
{
    std::string result;
    result.reserve(total_);
    for (std::size_t i = 0; i < chunks_->size(); ++i) {
        result.append((*chunks_)[i].data, usedBytes(i));
    }
    return result;
}

void MemoryBlockVector::toMemory(char *destination) const
{
    for (std::size_t i = 0; i < chunks_->size(); ++i) {
        int used = usedBytes(i);
        std::memcpy(destination, (*chunks_)[i].data, used);
        destination += used;
    }
}

int MemoryBlockVector::usedBytes(std::size_t index) const
{
    // All chunks but the last are full.
    const Chunk &chunk = (*chunks_)[index];
    return index + 1 == chunks_->size() ? chunk.capacity - free_ : chunk.capacity;
}

int MemoryBlockVector::chunkCount() const
{
    return static_cast<int>(chunks_->size());
}

int MemoryBlockVector::chunkCapacity(int index) const
{
    return chunks_->at(index).capacity;
}
