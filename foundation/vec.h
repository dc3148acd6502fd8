#pragma once
// Fixed-size value vector shared by the whole system: positions, colours,
// brick addresses and (start, stop, step) ranges.

#include "platform/api.h"

#include <cmath>
#include <cstddef>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

template <typename T, int N>
struct vec {
    static_assert(N > 0, "vec needs at least one element");
    T v[N];

    T& operator[](int i) { return v[i]; }
    T const& operator[](int i) const { return v[i]; }

    template <typename... A>
    void set(A... a)
    {
        static_assert(sizeof...(A) == N, "set takes one value per element");
        int i = 0;
        ((v[i++] = static_cast<T>(a)), ...);
    }

    vec operator+(vec const& o) const
    {
        vec r;
        for (int i = 0; i < N; ++i) r.v[i] = v[i] + o.v[i];
        return r;
    }
    vec operator-(vec const& o) const
    {
        vec r;
        for (int i = 0; i < N; ++i) r.v[i] = v[i] - o.v[i];
        return r;
    }
    vec operator*(double s) const
    {
        vec r;
        for (int i = 0; i < N; ++i) r.v[i] = static_cast<T>(v[i] * s);
        return r;
    }
    // Element-wise product.
    vec operator*(vec const& o) const
    {
        vec r;
        for (int i = 0; i < N; ++i) r.v[i] = v[i] * o.v[i];
        return r;
    }

    T length_sqr() const
    {
        T s = T(0);
        for (int i = 0; i < N; ++i) s += v[i] * v[i];
        return s;
    }
    T length() const { return static_cast<T>(std::sqrt(length_sqr())); }
    T dist(vec const& o) const { return (*this - o).length(); }
    vec normalize() const
    {
        T l = length();
        vec r = *this;
        if (l != T(0))
            for (int i = 0; i < N; ++i) r.v[i] = v[i] / l;
        return r;
    }
    vec<T, 2> xy() const
    {
        static_assert(N >= 2, "xy needs two elements");
        vec<T, 2> r;
        r.v[0] = v[0];
        r.v[1] = v[1];
        return r;
    }

    bool operator==(vec const& o) const
    {
        for (int i = 0; i < N; ++i)
            if (!(v[i] == o.v[i])) return false;
        return true;
    }
    bool operator!=(vec const& o) const { return !(*this == o); }
    // Lexicographic: these vectors are keys of ordered maps.
    bool operator<(vec const& o) const
    {
        for (int i = 0; i < N; ++i) {
            if (v[i] < o.v[i]) return true;
            if (o.v[i] < v[i]) return false;
        }
        return false;
    }
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
