// CPoint, CSize and CRect: the MFC value types over POINT, SIZE and RECT.
//
// They are the plain structs with constructors, equality and the few members the library's
// interfaces use, so code written against MFC reads the same. Coordinates are 32-bit LONG,
// as on Windows.
#ifndef TLVUTL_GEOMETRY_H
#define TLVUTL_GEOMETRY_H

#include <tlvutl/wintypes.h>

class CPoint : public POINT {
public:
    CPoint() : POINT{0, 0} {}
    CPoint(LONG px, LONG py) : POINT{px, py} {}
    CPoint(const POINT& p) : POINT(p) {}
    void SetPoint(LONG px, LONG py) {
        x = px;
        y = py;
    }
    void Offset(LONG dx, LONG dy) {
        x += dx;
        y += dy;
    }
    friend bool operator==(const CPoint& a, const CPoint& b) { return a.x == b.x && a.y == b.y; }
    friend bool operator!=(const CPoint& a, const CPoint& b) { return !(a == b); }
};

class CSize : public SIZE {
public:
    CSize() : SIZE{0, 0} {}
    CSize(LONG width, LONG height) : SIZE{width, height} {}
    CSize(const SIZE& s) : SIZE(s) {}
    void SetSize(LONG width, LONG height) {
        cx = width;
        cy = height;
    }
    friend bool operator==(const CSize& a, const CSize& b) { return a.cx == b.cx && a.cy == b.cy; }
    friend bool operator!=(const CSize& a, const CSize& b) { return !(a == b); }
};

class CRect : public RECT {
public:
    CRect() : RECT{0, 0, 0, 0} {}
    CRect(LONG l, LONG t, LONG r, LONG b) : RECT{l, t, r, b} {}
    CRect(const RECT& r) : RECT(r) {}
    CRect(const CPoint& topLeft, const CSize& size)
        : RECT{topLeft.x, topLeft.y, topLeft.x + size.cx, topLeft.y + size.cy} {}
    LONG Width() const { return right - left; }
    LONG Height() const { return bottom - top; }
    CSize Size() const { return CSize(Width(), Height()); }
    CPoint TopLeft() const { return CPoint(left, top); }
    CPoint BottomRight() const { return CPoint(right, bottom); }
    bool IsRectEmpty() const { return right <= left || bottom <= top; }
    bool IsRectNull() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
    void SetRect(LONG l, LONG t, LONG r, LONG b) {
        left = l;
        top = t;
        right = r;
        bottom = b;
    }
    friend bool operator==(const CRect& a, const CRect& b) {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
    friend bool operator!=(const CRect& a, const CRect& b) { return !(a == b); }
};

#endif
