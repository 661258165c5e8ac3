// CPoint, CSize and CRect: the MFC value types over POINT, SIZE and RECT.
//
// They are the plain structs with constructors, equality and the few members the library's
// interfaces use, so code written against MFC reads the same. Coordinates are 32-bit LONG,
// as on Windows.
#ifndef TLVUTL_GEOMETRY_H
#define TLVUTL_GEOMETRY_H

#include <tlvutl/wintypes.h>

// A point (x, y).
class CPoint : public POINT {
public:
    // The origin, the point (px, py), or a copy of a POINT.
    // @{
    CPoint() : POINT{0, 0} {}
    CPoint(LONG px, LONG py) : POINT{px, py} {}
    CPoint(const POINT& p) : POINT(p) {}
    // @}
    // Sets both coordinates.
    void SetPoint(LONG px, LONG py) {
        x = px;
        y = py;
    }
    // Moves the point by (dx, dy).
    void Offset(LONG dx, LONG dy) {
        x += dx;
        y += dy;
    }
    // Equal when both coordinates are.
    // @{
    friend bool operator==(const CPoint& a, const CPoint& b) { return a.x == b.x && a.y == b.y; }
    friend bool operator!=(const CPoint& a, const CPoint& b) { return !(a == b); }
    // @}
};

// A size (cx, cy); negative extents are allowed.
class CSize : public SIZE {
public:
    // Zero, (width, height), or a copy of a SIZE.
    // @{
    CSize() : SIZE{0, 0} {}
    CSize(LONG width, LONG height) : SIZE{width, height} {}
    CSize(const SIZE& s) : SIZE(s) {}
    // @}
    // Sets both extents.
    void SetSize(LONG width, LONG height) {
        cx = width;
        cy = height;
    }
    // Equal when both extents are.
    // @{
    friend bool operator==(const CSize& a, const CSize& b) { return a.cx == b.cx && a.cy == b.cy; }
    friend bool operator!=(const CSize& a, const CSize& b) { return !(a == b); }
    // @}
};

// A rectangle by its edges: left and top are inside, right and bottom just outside; nothing is
// normalised.
class CRect : public RECT {
public:
    // The null rectangle, one from its four edges, a copy of a RECT, or one from its top-left
    // corner and size.
    // @{
    CRect() : RECT{0, 0, 0, 0} {}
    CRect(LONG l, LONG t, LONG r, LONG b) : RECT{l, t, r, b} {}
    CRect(const RECT& r) : RECT(r) {}
    CRect(const CPoint& topLeft, const CSize& size)
        : RECT{topLeft.x, topLeft.y, topLeft.x + size.cx, topLeft.y + size.cy} {}
    // @}
    // right - left and bottom - top, negative for an inverted rectangle.
    // @{
    LONG Width() const { return right - left; }
    LONG Height() const { return bottom - top; }
    // @}
    // (Width(), Height()).
    CSize Size() const { return CSize(Width(), Height()); }
    // The corners (left, top) and (right, bottom).
    // @{
    CPoint TopLeft() const { return CPoint(left, top); }
    CPoint BottomRight() const { return CPoint(right, bottom); }
    // @}
    // True when the rectangle encloses no area (width or height 0 or less).
    bool IsRectEmpty() const { return right <= left || bottom <= top; }
    // True when all four edges are 0.
    bool IsRectNull() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
    // Sets the four edges.
    void SetRect(LONG l, LONG t, LONG r, LONG b) {
        left = l;
        top = t;
        right = r;
        bottom = b;
    }
    // Equal when all four edges are.
    // @{
    friend bool operator==(const CRect& a, const CRect& b) {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
    friend bool operator!=(const CRect& a, const CRect& b) { return !(a == b); }
    // @}
};

#endif
