#pragma once

// Atomic access to words that must keep a plain type: exported globals and the values of the schemes, which the
// host's threads and the sensor thread share without a lock. Relaxed order: a reader sees the old value or the
// new one, and learns nothing about other words.
namespace base {

template <typename Word>
Word sharedLoad(const Word& word)
{
    return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

template <typename Word>
void sharedStore(Word& word, Word value)
{
    __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

// Stores value unless the word has changed since seen was read from it.
template <typename Word>
void sharedReplace(Word& word, Word seen, Word value)
{
    __atomic_compare_exchange_n(&word, &seen, value, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED);
}

}  // namespace base
