// The shared string of the COM support classes.
#include <atomic>
#include <cstring>
#include <new>
#include <utility>

#include "platform/memory/allocation.h"
#include "platform/posix/text/code_page.h"
#include "platform/posix/text/runtime_text.h"
#include "ztk/platform/posix/comutil.h"

namespace ZTKPosix {

struct _bstr_t::Shared {
    std::atomic<ULONG> references{1};
    BSTR wide;                                   // owned
    mutable std::atomic<char*> narrow{nullptr};  // owned, made when first asked for

    explicit Shared(BSTR text) noexcept : wide(text) {}
    ~Shared() {
        SysFreeString(wide);
        ZTK::allocation::RuntimeFree(narrow.load(std::memory_order_relaxed));
    }

    // Takes text over; gives it back and throws when memory is short.
    static Shared* Make(BSTR text) {
        void* const storage = ZTK::allocation::RuntimeAlloc(sizeof(Shared));
        if (storage == nullptr) {
            SysFreeString(text);
            _com_issue_error(E_OUTOFMEMORY);
        }
        return ::new (storage) Shared(text);
    }
    static void Add(Shared* shared) noexcept {
        if (shared != nullptr) {
            shared->references.fetch_add(1, std::memory_order_relaxed);
        }
    }
    static void Drop(Shared* shared) noexcept {
        if (shared != nullptr && shared->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            shared->~Shared();
            ZTK::allocation::RuntimeFree(shared);
        }
    }
};

namespace {

BSTR Checked(BSTR text) {
    if (text == nullptr) {
        _com_issue_error(E_OUTOFMEMORY);
    }
    return text;
}

BSTR CopyOf(BSTR text) {
    return text == nullptr ? nullptr
                           : Checked(SysAllocStringByteLen(reinterpret_cast<LPCSTR>(text),
                                                           SysStringByteLen(text)));
}

BSTR Widen(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const int with_terminator = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    const BSTR wide = Checked(SysAllocStringLen(nullptr, static_cast<UINT>(with_terminator - 1)));
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide, with_terminator);
    return wide;
}

}  // namespace

_bstr_t::_bstr_t(const wchar_t* text)
    : shared_(text != nullptr ? Shared::Make(Checked(SysAllocString(text))) : nullptr) {}
_bstr_t::_bstr_t(const char* text)
    : shared_(text != nullptr ? Shared::Make(Widen(text)) : nullptr) {}
_bstr_t::_bstr_t(BSTR text, bool copy) : shared_(Shared::Make(copy ? CopyOf(text) : text)) {}
_bstr_t::_bstr_t(const _bstr_t& other) noexcept : shared_(other.shared_) {
    Shared::Add(shared_);
}
_bstr_t::_bstr_t(_bstr_t&& other) noexcept : shared_(std::exchange(other.shared_, nullptr)) {}
_bstr_t::~_bstr_t() noexcept {
    Shared::Drop(shared_);
}

_bstr_t& _bstr_t::operator=(const _bstr_t& other) noexcept {
    Shared::Add(other.shared_);
    Shared::Drop(std::exchange(shared_, other.shared_));
    return *this;
}

_bstr_t& _bstr_t::operator=(_bstr_t&& other) noexcept {
    std::swap(shared_, other.shared_);
    return *this;
}

_bstr_t& _bstr_t::operator=(const wchar_t* text) {
    return *this = _bstr_t(text);
}
_bstr_t& _bstr_t::operator=(const char* text) {
    return *this = _bstr_t(text);
}

_bstr_t& _bstr_t::operator+=(const _bstr_t& other) {
    return *this = *this + other;
}

_bstr_t _bstr_t::operator+(const _bstr_t& other) const {
    const UINT head = length();
    const UINT tail = other.length();
    if (tail > ~head) {
        _com_issue_error(E_OUTOFMEMORY);
    }
    const BSTR joined = Checked(SysAllocStringLen(nullptr, head + tail));
    if (head != 0) {
        std::memcpy(joined, shared_->wide, head * sizeof(OLECHAR));
    }
    if (tail != 0) {
        std::memcpy(joined + head, other.shared_->wide, tail * sizeof(OLECHAR));
    }
    return {joined, false};
}

_bstr_t::operator const wchar_t*() const noexcept {
    return shared_ != nullptr ? shared_->wide : nullptr;
}

_bstr_t::operator wchar_t*() const noexcept {
    return shared_ != nullptr ? shared_->wide : nullptr;
}

_bstr_t::operator const char*() const {
    if (shared_ == nullptr || shared_->wide == nullptr) {
        return nullptr;
    }
    if (const char* made = shared_->narrow.load(std::memory_order_acquire); made != nullptr) {
        return made;
    }
    const int bytes =
        WideCharToMultiByte(CP_ACP, 0, shared_->wide, -1, nullptr, 0, nullptr, nullptr);
    auto* const narrow =
        static_cast<char*>(ZTK::allocation::RuntimeAlloc(static_cast<std::size_t>(bytes)));
    if (narrow == nullptr) {
        _com_issue_error(E_OUTOFMEMORY);
    }
    WideCharToMultiByte(CP_ACP, 0, shared_->wide, -1, narrow, bytes, nullptr, nullptr);
    // A copy of this object on another thread may have been faster; its text is the same.
    char* other = nullptr;
    if (!shared_->narrow.compare_exchange_strong(other, narrow, std::memory_order_acq_rel)) {
        ZTK::allocation::RuntimeFree(narrow);
        return other;
    }
    return narrow;
}

bool _bstr_t::operator!() const noexcept {
    return shared_ == nullptr || shared_->wide == nullptr;
}
bool _bstr_t::operator==(const _bstr_t& other) const noexcept {
    return Compare(other) == 0;
}
bool _bstr_t::operator<(const _bstr_t& other) const noexcept {
    return Compare(other) < 0;
}

int _bstr_t::Compare(const _bstr_t& other) const noexcept {
    if (!*this || !other) {
        return static_cast<int>(!other) - static_cast<int>(!*this);
    }
    const UINT mine = length();
    const UINT theirs = other.length();
    const int order = wmemcmp(shared_->wide, other.shared_->wide, mine < theirs ? mine : theirs);
    return order != 0 ? order : static_cast<int>(mine > theirs) - static_cast<int>(mine < theirs);
}

unsigned int _bstr_t::length() const noexcept {
    return shared_ != nullptr ? SysStringLen(shared_->wide) : 0;
}

BSTR _bstr_t::copy(bool copy) const {
    const BSTR own = shared_ != nullptr ? shared_->wide : nullptr;
    return copy ? CopyOf(own) : own;
}

void _bstr_t::Attach(BSTR text) {
    *this = _bstr_t(text, false);
}

BSTR _bstr_t::Detach() {
    if (shared_ == nullptr || shared_->references.load(std::memory_order_acquire) != 1) {
        _com_issue_error(E_POINTER);
    }
    const BSTR text = std::exchange(shared_->wide, nullptr);
    Shared::Drop(std::exchange(shared_, nullptr));
    return text;
}

BSTR* _bstr_t::GetAddress() {
    Attach(nullptr);
    return &shared_->wide;
}

}  // namespace ZTKPosix
