// Counted text converted between UTF-8 and UTF-16 into text buffers.
#include "buffer/filled_buffer.h"
#include "ztk/text.h"

namespace ZTK {
namespace {

template <class View, class T>
std::optional<std::size_t> Store(View text, std::size_t length, CBuffer<T>& out) noexcept {
    const bool is_stored = FillBuffer(out, length, [text, length](T* place) {
        (void)ConvertText(text.data(), text.size(), place, length);  // as it was measured
    });
    return is_stored ? std::optional(length) : std::nullopt;
}

template <class View, class T>
std::optional<std::size_t> StoreStrict(View text, CBuffer<T>& out,
                                       std::size_t* first_bad) noexcept {
    const TextMeasure measure = MeasureText(text.data(), text.size());
    if (first_bad != nullptr) {
        *first_bad = measure.first_bad;
    }
    return measure.first_bad == TextMeasure::kNone ? Store(text, measure.length, out)
                                                   : std::nullopt;
}

}  // namespace

std::optional<std::size_t> ToWide(std::string_view utf8, CBuffer<wchar_t>& out) noexcept {
    return Store(utf8, MeasureText(utf8.data(), utf8.size()).length, out);
}
std::optional<std::size_t> ToUtf8(WideView wide, CBuffer<char>& out) noexcept {
    return Store(wide, MeasureText(wide.data(), wide.size()).length, out);
}

std::optional<std::size_t> ToWideStrict(std::string_view utf8, CBuffer<wchar_t>& out,
                                        std::size_t* first_bad) noexcept {
    return StoreStrict(utf8, out, first_bad);
}
std::optional<std::size_t> ToUtf8Strict(WideView wide, CBuffer<char>& out,
                                        std::size_t* first_bad) noexcept {
    return StoreStrict(wide, out, first_bad);
}

}  // namespace ZTK
