"""Small charts as SVG."""
import math
from xml.sax.saxutils import escape

LIBRARY, FLOOR = "#1f6feb", "#8c959f"
STYLE = ("<style>text{font:11px sans-serif;fill:#57606a}.title{font-weight:bold}"
         ".grid{stroke:#d0d7de}</style>")


def text(x, y, content, kind="", anchor="start"):
    return f'<text x="{x:.0f}" y="{y:.0f}" class="{kind}" text-anchor="{anchor}">{escape(content)}</text>'


def line(x1, y1, x2, y2, kind="grid", extra=""):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="{kind}" {extra}/>'


def document(width, height, parts):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
            f'viewBox="0 0 {width} {height}">{STYLE}<rect width="{width}" height="{height}" '
            f'fill="#ffffff"/>' + "\n".join(parts) + "</svg>\n")


def panel(left, top, title, unit, curves):
    """Curves over a logarithmic count: {colour: [(count, us)]}."""
    width, height = 200, 100
    largest = max(us for points in curves.values() for _, us in points)
    step = 10 ** math.floor(math.log10(largest))
    ceiling = math.ceil(largest / step) * step
    parts = [text(left, top - 22, title, "title"), text(left, top - 8, f"us per {unit}")]
    for share in (0, 0.5, 1):
        y = top + height * (1 - share)
        parts += [line(left, y, left + width, y), text(left - 4, y + 4, f"{ceiling * share:g}",
                                                       anchor="end")]
    for count, name in ((1000, "1,000"), (10000, "10,000"), (100000, "100,000")):
        parts.append(text(left + width * (math.log10(count) - 3) / 2, top + height + 14, name,
                          anchor="middle"))
    for colour, points in curves.items():
        places = [(left + width * (math.log10(count) - 3) / 2, top + height * (1 - us / ceiling))
                  for count, us in sorted(points)]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in places]
    return parts


def growth_chart(panels):
    """Of (title, unit, curves)."""
    parts = [f'<rect x="40" y="10" width="12" height="4" fill="{LIBRARY}"/>', text(58, 16, "library"),
             f'<rect x="120" y="10" width="12" height="4" fill="{FLOOR}"/>', text(138, 16, "floor")]
    for index, (title, unit, curves) in enumerate(panels):
        parts += panel(50 + 270 * (index % 3), 64 + 160 * (index // 3), title, unit, curves)
    return document(820, 50 + 160 * math.ceil(len(panels) / 3), parts)


def ratio_chart(rows):
    """Of (name, ratio, goal or None): how many times the floor."""
    left, width, scale = 250, 540, 540 / 6
    height = 22 * len(rows) + 40
    parts = []
    for times in range(7):
        x = left + scale * times
        parts += [line(x, 20, x, height - 16), text(x, 14, f"{times}x", anchor="middle")]
    for index, (name, ratio, goal) in enumerate(rows):
        y = 26 + 22 * index
        bar = min(ratio * scale, width)
        parts += [text(left - 6, y + 11, name, anchor="end"),
                  f'<rect x="{left}" y="{y}" width="{bar:.0f}" height="14" fill="{LIBRARY}"/>']
        if ratio * scale > width:
            parts.append(f'<text x="{left + width - 4}" y="{y + 11}" text-anchor="end" '
                         f'style="fill:#ffffff">{ratio:.1f}x</text>')
        if goal is not None:
            x = left + scale * goal
            parts.append(line(x, y - 3, x, y + 17, "goal", 'stroke="#cf222e" stroke-width="2"'))
    parts += [line(left, height - 8, left + 12, height - 8, "goal",
                   'stroke="#cf222e" stroke-width="2"'), text(left + 18, height - 4, "goal")]
    return document(820, height, parts)
