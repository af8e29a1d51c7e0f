// An index by name over the table in which a tag keeps its attributes: the table is sorted when a
// lookup needs it and searched by halving.
#pragma once

#include "ztk/strings.h"
#include "ztk/xml.h"

namespace ZTK::xml {

// A view of the records of such a table and of what is known about their order.
template <class Object>
class NameIndex {
  public:
    using Item = TArrayItem<Object*>;

    // ordered: how many of the first records are in order; repeats: whether two of these have one
    // name. Both are updated.
    NameIndex(CPtrArray<Object*>* array, int* ordered, bool* repeats)
        : array_(array), slots_(array->Slots()), ordered_(ordered), repeats_(repeats) {}

    // The object of that name in the lowest slot, or null. Sorts the records if need be.
    Object* Find(const wchar_t* name) {
        const int count = array_->Count();
        if (count < 1) {
            return nullptr;
        }
        if (!array_->Sorted()) {
            array_->SetSorted(true);
            SortAll(count);
        }
        // A token made from an empty name has no text, just like one made from null.
        const wchar_t* text = name != nullptr && *name != 0 ? name : nullptr;
        const int slot = LowerBound(0, count, text);
        const bool found = slot < count && Compare(NameOf(slot), text) == 0;
        return found && slots_[slot] != nullptr ? slots_[slot]->value : nullptr;
    }

  private:
    static int Compare(const wchar_t* a, const wchar_t* b) { return StrCompare(a, b, true); }

    // A slot that got no record counts as one without a name.
    static const wchar_t* Name(Item* item) {
        return item != nullptr ? item->value->GetBuffer() : nullptr;
    }
    const wchar_t* NameOf(int slot) const { return Name(slots_[slot]); }

    // The first slot of [first, end), which is in order, whose name is not below this one; else
    // end.
    int LowerBound(int first, int end, const wchar_t* name) const {
        while (first < end) {
            const int middle = first + (end - first) / 2;
            if (Compare(NameOf(middle), name) < 0) {
                first = middle + 1;
            } else {
                end = middle;
            }
        }
        return first;
    }

    // Moves the record of slot `from` down to slot `to`, and those between up by one.
    void MoveDown(int from, int to) {
        Item* item = slots_[from];
        for (int slot = from; slot > to; --slot) {
            slots_[slot] = slots_[slot - 1];
        }
        slots_[to] = item;
    }

    void Swap(int a, int b) {
        Item* item = slots_[a];
        slots_[a] = slots_[b];
        slots_[b] = item;
    }

    void SortAll(int count);
    bool InsertLast(int first, int last);
    void Sort(int first, int last);
    [[nodiscard]] bool IsOrdered(int first, int end, bool strict) const;
    void PeelEnds(int* first, int* last);
    void Partition(int first, int last, int* left_end, int* right_begin);

    CPtrArray<Object*>* array_;
    Item** slots_;
    int* ordered_;
    bool* repeats_;
};

// A tag reads one attribute at a time, and looks it up first: the usual table is in order but for
// its last record. Partitioning would compare the whole table again for each attribute.
template <class Object>
void NameIndex<Object>::SortAll(int count) {
    if (*repeats_ || *ordered_ != count - 1 || !InsertLast(0, count - 1)) {
        Sort(0, count - 1);
        for (int slot = 1; slot < count && !*repeats_; ++slot) {
            *repeats_ = Compare(NameOf(slot - 1), NameOf(slot)) == 0;
        }
    }
    *ordered_ = count;
}

// Moves the last record to its place among the slots before it. False, with nothing moved, when one
// of these has its name. Where all names differ, any way of sorting gives the same order.
// REQUIRES: the slots from first up to last, without last, are in order.
template <class Object>
bool NameIndex<Object>::InsertLast(int first, int last) {
    const int place = LowerBound(first, last, NameOf(last));
    if (place < last && Compare(NameOf(place), NameOf(last)) == 0) {
        return false;
    }
    MoveDown(last, place);
    return true;
}

// Sorts the slots from first to last, both included. Of several records with one name a lookup
// finds the first, so their order counts too: it is the one in which partitions leave them, each
// made around the last record of its range. The short cuts give the same order without comparing
// all records again for one that belongs behind or before all others.
template <class Object>
void NameIndex<Object>::Sort(int first, int last) {
    while (first < last) {
        PeelEnds(&first, &last);
        if (IsOrdered(first, last, true) && InsertLast(first, last)) {
            return;
        }
        int left_end = 0;
        int right_begin = 0;
        Partition(first, last, &left_end, &right_begin);
        // The smaller part by recursion: it is at most half of this one, which bounds the depth.
        if (left_end - first < last - right_begin) {
            Sort(first, left_end);
            first = right_begin;
        } else {
            Sort(right_begin, last);
            last = left_end;
        }
    }
}

// Whether the slots of [first, end) are in order; with strict, without two of one name.
template <class Object>
bool NameIndex<Object>::IsOrdered(int first, int end, bool strict) const {
    for (int slot = first + 1; slot < end; ++slot) {
        const int order = Compare(NameOf(slot - 1), NameOf(slot));
        if (order > 0 || (strict && order == 0)) {
            return false;
        }
    }
    return true;
}

// In slots that are in order but for the last one, a partition has little to do when the last
// record's name is above all others (it stays where it is) or below all others (it changes places
// with the first record). Does that, and narrows the range to the slots that are left, for as long
// as the last of them is such a record.
template <class Object>
void NameIndex<Object>::PeelEnds(int* first, int* last) {
    if (!IsOrdered(*first, *last, false)) {
        return;
    }
    while (*first < *last && Compare(NameOf(*last - 1), NameOf(*last)) < 0) {
        --*last;
    }
    while (*first < *last && Compare(NameOf(*last), NameOf(*first)) < 0) {
        Swap(*first, *last);
        ++*first;
    }
}

// Parts the slots around the record v in the last one: lower names come to [first, *left_end],
// higher ones to [*right_begin, last]. Records named like v are collected at both ends on the way,
// up to slot p and from slot q, and moved to the middle afterwards.
template <class Object>
void NameIndex<Object>::Partition(int first, int last, int* left_end, int* right_begin) {
    const wchar_t* v = NameOf(last);
    int i = first - 1;
    int j = last;
    int p = first - 1;
    int q = last;
    for (;;) {
        do {
            ++i;
        } while (Compare(NameOf(i), v) < 0);
        do {
            --j;
        } while (j > first && Compare(v, NameOf(j)) < 0);
        if (i >= j) {
            break;
        }
        Swap(i, j);
        if (Compare(NameOf(i), v) == 0) {
            Swap(++p, i);
        }
        if (Compare(v, NameOf(j)) == 0) {
            Swap(j, --q);
        }
    }
    Swap(i, last);
    j = i - 1;
    ++i;
    // The record in slot p stays: it is sorted with the lower names, as the highest of them.
    for (int slot = first; slot < p; ++slot, --j) {
        Swap(slot, j);
    }
    for (int slot = last - 1; slot > q; --slot, ++i) {
        Swap(slot, i);
    }
    *left_end = j;
    *right_begin = i;
}

}  // namespace ZTK::xml
