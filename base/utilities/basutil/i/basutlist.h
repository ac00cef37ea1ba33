/// \file i/basutlist.h
/// A singly linked list of pointers with a cursor of its own, from which a tool derives its lists.
///
/// A derived class says what the data is: how it is released, printed, found and ordered.
/// Ownership: the data is the tool's. The list hands it to `freedata`, which does nothing of itself, where
/// a call says so. A copy shares the nodes of its source, and only one of the two may be destroyed.
/// Threads: no locks; a list belongs to one thread at a time.
#pragma once
#include "uttypes.h"

/// One node, for the list alone.
class UT_LISTMEM {
private:
    friend class UT_LIST;
    UT_LISTMEM() = default;
    explicit UT_LISTMEM(void* data) : data_(data) {}

    UT_LISTMEM* next_ = nullptr;
    void* data_ = nullptr;
};

/// What takes data takes no null, and says so with false; a success byte is 1 or 0.
///
/// The cursor stands on the last node handed out, or before the first one, or nowhere: at the end of the
/// list, and when its node was the last one and is gone. From nowhere only `reset`, a `find` that finds,
/// `sort` and `freelist` bring it back.
/// Errors: none are reported. A node that cannot be had goes to the new-handler, which may throw; the list
/// is then as it was.
class UT_EXPORT UT_LIST {
public:
    UT_LIST(const UT_LIST&) = default;  // shallow on purpose, as is assignment: see above
    UT_LIST& operator=(const UT_LIST&) = default;
    /// Ends the list as `freelist` does. The derived class's part is gone by then, so its `freedata` is not
    /// called: a class that has one calls `freelist` in its own destructor.
    virtual ~UT_LIST();

    // ---- what a derived class may say about its data

    /// Releases `data`. By default nothing happens.
    virtual void freedata(void* data);
    /// Prints `data` to standard output. By default it is the address, in hexadecimal, as a line.
    virtual void printdata(void* data);
    /// Says whether `data` is what `key` asks for. By default it is, if the two pointers are equal.
    virtual unsigned char finddata(void* data, void* key);
    /// Says whether `a` comes behind `b` (above 0), before it (below 0) or is its equal (0).
    /// By default the addresses decide.
    virtual int compdata(void* a, void* b);

    // ---- adding

    /// Puts `data` behind the last.
    unsigned char append(void* data)
    {
        if (data == nullptr) return 0;
        addnext(tail_, data);
        return 1;
    }
    unsigned char pushend(void* data) { return append(data); }
    /// Puts `data` in front of the first.
    unsigned char push(void* data);
    /// Puts `data` behind the cursor. False if it stands nowhere.
    unsigned char insert(void* data);
    /// Puts `data` behind `after`: behind the cursor's node if that holds it, else behind the first that
    /// does.
    ///
    /// False if no node holds it.
    unsigned char insert(void* after, void* data);
    /// Puts `data` at its place in an ordered list, behind its equals.
    ///
    /// Where it is not below the last element it goes behind that, and nothing else is compared; so in a
    /// list that is out of order the last one alone decides.
    /// Cost: constant for data that comes in order, else linear.
    unsigned char mergesort(void* data);

    // ---- taking out: the cursor goes from a node that vanishes to the next one, if there is one

    /// Takes out the first and returns it; null if the list is empty.
    void* pop();
    /// Takes out the last and returns it; null if the list is empty. Cost: linear.
    void* popend();
    /// Takes out the first node that holds `data`; a non-zero `free_it` hands it to `freedata`.
    ///
    /// In a scan with `getnext` that takes out what it has just got, the next call passes one element over.
    unsigned char remove(void* data, unsigned char free_it);
    /// The same for the data under the cursor, which may stand in an earlier node as well: that one goes
    /// then.
    unsigned char remove(unsigned char free_it);
    /// Takes out everything, hands it to `freedata`, and puts the cursor before the first.
    ///
    /// Errors: what `freedata` throws comes out, and the elements that it has not got yet stay in the list.
    void freelist();

    // ---- the cursor

    /// Puts the cursor before the first.
    void reset() { current_ = head_; }
    /// Moves the cursor on and returns what it stands on; null at the end, and from there on.
    void* getnext()
    {
        if (current_ != nullptr) current_ = current_->next_;
        return current_ != nullptr ? current_->data_ : nullptr;
    }
    /// Returns what the next `getnext` would, and leaves the cursor alone.
    void* peeknext() const
    {
        const UT_LISTMEM* const next = current_ != nullptr ? current_->next_ : nullptr;
        return next != nullptr ? next->data_ : nullptr;
    }
    /// Moves the cursor to the first node for whose data `finddata` says yes, and returns the data.
    ///
    /// Null, with the cursor where it was, if there is none.
    void* find(void* key);

    // ---- the whole list

    /// Returns how many elements there are. Cost: linear.
    int count() const;
    /// Orders the list by `compdata`; equals stay in their order. The cursor is before the first afterwards.
    ///
    /// Errors: what `compdata` throws comes out, and no element is lost.
    /// Cost: linear for a list in order, quadratic at worst. No memory is asked for.
    void sort();
    /// Prints each element by `printdata`; a non-zero `numbered` puts its number, from 0, on a line before
    /// it.
    void printlist(unsigned char numbered);

protected:
    UT_LIST();

private:
    class detached;

    void addnext(UT_LISTMEM* after, void* data) { link(after, new UT_LISTMEM(data)); }
    void delnext(UT_LISTMEM* before, unsigned char free_it);
    void link(UT_LISTMEM* after, UT_LISTMEM* node)
    {
        node->next_ = after->next_;
        after->next_ = node;
        if (after == tail_) tail_ = node;
    }
    UT_LISTMEM* before_data(const void* data) const;
    UT_LISTMEM* place_of(void* data);

    UT_LISTMEM* head_;     ///< a node without data in front of the first
    UT_LISTMEM* tail_;     ///< the last node; `head_` if there is none
    UT_LISTMEM* current_;  ///< the cursor; null is nowhere
};
