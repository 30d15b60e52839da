#pragma once

#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

// A position in a CList: opaque, null means none. It is valid until its element is removed. After a
// move of the list it is a position of the new list.
struct CListNodeBase
{
    CListNodeBase* next = nullptr;
    CListNodeBase* prev = nullptr;
};
using POSITION = CListNodeBase*;

// Ordered list with positions, the base of the library's list classes. A value: a copy has copies
// of the elements, and a moved-from list is empty. Duplicates are allowed.
//
// Adding, inserting and copying may throw std::bad_alloc, and what the element's own copy throws.
// The list is then as it was. Nothing here sets the last error. Several threads may read one list
// at once.
//
// Not checked: a position belongs to this list and is not null, unless a comment gives null a
// meaning. GetHead, GetTail, RemoveHead and RemoveTail need a list that is not empty. On an empty
// list the positions are null, Find and FindIndex give null, and a range-for does nothing.
//
// An added element may be one of the list itself.
template <class T>
class CList
{
public:
    using value_type = T;

    CList() = default;
    CList(const CList& other) { AppendCopies(other); }
    CList(CList&& other) noexcept { Swap(other); }
    CList& operator=(const CList& other)
    {
        CList copy(other);
        Swap(copy);
        return *this;
    }
    CList& operator=(CList&& other) noexcept
    {
        CList taken(std::move(other));
        Swap(taken);
        return *this;
    }
    virtual ~CList() { RemoveAll(); }

    std::size_t GetCount() const { return m_count; }
    bool IsEmpty() const { return m_count == 0; }

    POSITION GetHeadPosition() const { return m_head; }
    POSITION GetTailPosition() const { return m_tail; }
    T& GetHead() { return Element(m_head); }
    const T& GetHead() const { return Element(m_head); }
    T& GetTail() { return Element(m_tail); }
    const T& GetTail() const { return Element(m_tail); }
    T& GetAt(POSITION position) { return Element(position); }
    const T& GetAt(POSITION position) const { return Element(position); }
    void SetAt(POSITION position, T value) { Element(position) = std::move(value); }

    // The element at the position. The position moves to the next or previous one, or to null.
    T& GetNext(POSITION& position) { return Element(std::exchange(position, position->next)); }
    const T& GetNext(POSITION& position) const
    {
        return Element(std::exchange(position, position->next));
    }
    T& GetPrev(POSITION& position) { return Element(std::exchange(position, position->prev)); }
    const T& GetPrev(POSITION& position) const
    {
        return Element(std::exchange(position, position->prev));
    }

    POSITION AddHead(T value) { return Link(new Node(std::move(value)), nullptr, m_head); }
    POSITION AddTail(T value) { return Link(new Node(std::move(value)), m_tail, nullptr); }

    // Add copies of another list's elements, in its order, before the head or after the tail. An
    // empty list adds nothing.
    void AddHead(const CList& other)
    {
        CList all(other);
        all.AppendCopies(*this);
        Swap(all);
    }
    void AddTail(const CList& other)
    {
        CList added(other);
        Splice(added);
    }

    // A null position means the head for InsertBefore, the tail for InsertAfter.
    POSITION InsertBefore(POSITION position, T value)
    {
        return position == nullptr ? AddHead(std::move(value))
                                   : Link(new Node(std::move(value)), position->prev, position);
    }
    POSITION InsertAfter(POSITION position, T value)
    {
        return position == nullptr ? AddTail(std::move(value))
                                   : Link(new Node(std::move(value)), position, position->next);
    }

    // Remove the element and give its value.
    T RemoveHead() { return Take(m_head); }
    T RemoveTail() { return Take(m_tail); }
    void RemoveAt(POSITION position) { delete Unlink(position); }
    void RemoveAll() noexcept
    {
        while (m_head != nullptr) {
            delete Unlink(m_head);
        }
    }

    // The first element that equals the value, from the head or after the given position; else
    // null.
    POSITION Find(const T& value, POSITION after = nullptr) const
    {
        POSITION position = after == nullptr ? m_head : after->next;
        while (position != nullptr && !(Element(position) == value)) {
            position = position->next;
        }
        return position;
    }

    // The position of the element with that index, counted from 0; null from the count on.
    POSITION FindIndex(std::size_t index) const
    {
        POSITION position = m_head;
        while (position != nullptr && index-- > 0) {
            position = position->next;
        }
        return position;
    }

    // Forward iterators, for range-for and the algorithms. A const list gives const elements.
    template <class Value>
    class CIterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = Value*;
        using reference = Value&;

        CIterator() = default;
        explicit CIterator(POSITION position) : m_position(position) {}
        // An iterator converts to a const_iterator.
        operator CIterator<const T>() const requires(!std::is_const_v<Value>)
        {
            return CIterator<const T>(m_position);
        }
        reference operator*() const { return Element(m_position); }
        pointer operator->() const { return &Element(m_position); }
        CIterator& operator++()
        {
            m_position = m_position->next;
            return *this;
        }
        CIterator operator++(int) { return std::exchange(*this, CIterator(m_position->next)); }
        bool operator==(const CIterator&) const = default;

    private:
        POSITION m_position = nullptr;
    };
    using iterator = CIterator<T>;
    using const_iterator = CIterator<const T>;

    iterator begin() { return iterator(m_head); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(m_head); }
    const_iterator end() const { return const_iterator(); }

private:
    struct Node : CListNodeBase
    {
        explicit Node(T&& from) : value(std::move(from)) {}
        T value;
    };

    static T& Element(POSITION position) { return static_cast<Node*>(position)->value; }

    POSITION Link(Node* node, POSITION before, POSITION after) noexcept
    {
        node->prev = before;
        node->next = after;
        (before == nullptr ? m_head : before->next) = node;
        (after == nullptr ? m_tail : after->prev) = node;
        ++m_count;
        return node;
    }

    Node* Unlink(POSITION position) noexcept
    {
        (position->prev == nullptr ? m_head : position->prev->next) = position->next;
        (position->next == nullptr ? m_tail : position->next->prev) = position->prev;
        --m_count;
        return static_cast<Node*>(position);
    }

    T Take(POSITION position)
    {
        T value = std::move(Element(position));
        RemoveAt(position);
        return value;
    }

    void AppendCopies(const CList& other)
    {
        CList copies;
        for (POSITION position = other.m_head; position != nullptr; position = position->next) {
            copies.AddTail(T(Element(position)));
        }
        Splice(copies);
    }

    // Moves all elements of the other list to the end.
    void Splice(CList& other) noexcept
    {
        if (other.m_head == nullptr) {
            return;
        }
        other.m_head->prev = m_tail;
        (m_tail == nullptr ? m_head : m_tail->next) = other.m_head;
        m_tail = std::exchange(other.m_tail, nullptr);
        m_count += std::exchange(other.m_count, 0);
        other.m_head = nullptr;
    }

    void Swap(CList& other) noexcept
    {
        std::swap(m_head, other.m_head);
        std::swap(m_tail, other.m_tail);
        std::swap(m_count, other.m_count);
    }

    POSITION m_head = nullptr;
    POSITION m_tail = nullptr;
    std::size_t m_count = 0;
};
