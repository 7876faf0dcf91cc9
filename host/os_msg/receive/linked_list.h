// A list whose links are members of its elements: an element is unlinked by what it is, and nothing is allocated.
#ifndef ORVI_HOST_OS_MSG_LINKED_LIST_H
#define ORVI_HOST_OS_MSG_LINKED_LIST_H

#include <cstddef>

namespace orvi_bus {

template <typename T>
struct Link {
    T* previous = nullptr;
    T* next = nullptr;
    bool linked = false;
};

template <typename T, Link<T> T::*kLink>
class LinkedList {
 public:
    bool Empty() const { return first_ == nullptr; }
    size_t Size() const { return size_; }
    T* First() const { return first_; }
    static bool Holds(const T* element) { return (element->*kLink).linked; }

    void Append(T* element) {  // to the end, also one that is in the list
        Remove(element);
        Link<T>& link = element->*kLink;
        link.previous = last_;
        link.linked = true;
        (last_ != nullptr ? (last_->*kLink).next : first_) = element;
        last_ = element;
        ++size_;
    }
    void Remove(T* element) {  // nothing when it is not in the list
        Link<T>& link = element->*kLink;
        if (!link.linked) {
            return;
        }
        (link.previous != nullptr ? (link.previous->*kLink).next : first_) = link.next;
        (link.next != nullptr ? (link.next->*kLink).previous : last_) = link.previous;
        link = Link<T>();
        --size_;
    }

 private:
    T* first_ = nullptr;
    T* last_ = nullptr;
    size_t size_ = 0;
};

}  // namespace orvi_bus

#endif
