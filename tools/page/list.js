/** Lists with more rows than this many pixels hold scroll by shares of their length. */
const tallest = 8e6;

const isVisible = (byte) => byte >= 32 && byte < 127;

/** Returns bytes as text on one line. Every byte that is no visible character becomes an escape. */
function printable(bytes) {
    const decoder = new TextDecoder("utf-8", { fatal: true });
    const escapes = { 7: "a", 8: "b", 9: "t", 10: "n", 11: "v", 12: "f", 13: "r" };
    const isMark = (code) => code >= 0x80 && code < 0xA0 || code >= 0x200B && code <= 0x200F ||
        code >= 0x2028 && code <= 0x202E || code >= 0x2066 && code <= 0x2069;
    const wide = (at) => {
        const size = bytes[at] >= 0xF0 ? 4 : bytes[at] >= 0xE0 ? 3 : 2;
        try {
            const text = decoder.decode(bytes.subarray(at, at + size));
            return isMark(text.codePointAt(0)) || [...text].length !== 1 ? "" : text;
        } catch {
            return "";
        }
    };
    let result = "";
    for (let at = 0; at < bytes.length; ++at) {
        const byte = bytes[at];
        const text = byte >= 0x80 ? wide(at) : isVisible(byte) ? String.fromCharCode(byte) : "";
        if (text === "") {
            result += "\\" + (escapes[byte] ?? "x" + hex(byte));
        } else {
            result += (text === "\"" || text === "\\" ? "\\" : "") + text;
            at += byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0x80 ? 1 : 0;
        }
    }
    return result;
}

function hex(byte) {
    return byte.toString(16).padStart(2, "0");
}

function make(name, className, ...content) {
    const element = document.createElement(name);
    if (className) element.className = className;
    element.append(...content);
    return element;
}

const showsAll = () => location.hash === "#all";

/** A list of rows of the same height, of which only those in sight are in the document. */
class List {
    constructor(box, rowHeight, draw) {
        this.box = box;
        this.rowHeight = rowHeight;
        this.draw = draw;
        this.count = 0;
        this.top = 0;
        this.layer = make("div", "layer");
        this.layer.setAttribute("role", "presentation");
        this.spacer = make("div", "spacer");
        this.spacer.setAttribute("role", "presentation");
        box.append(this.layer, this.spacer);
        box.addEventListener("scroll", () => this.scrolled());
        box.addEventListener("wheel", (event) => this.wheel(event), { passive: false });
        new ResizeObserver(() => this.show()).observe(box);
    }

    get fit() {
        return this.box.clientHeight / this.rowHeight;
    }

    get height() {
        return Math.min(this.count * this.rowHeight, tallest);
    }

    /** Whether a pixel of the scroll bar stands for more than a pixel of the list. */
    get isScaled() {
        return this.count * this.rowHeight > tallest;
    }

    setCount(count) {
        this.count = count;
        this.spacer.style.height = showsAll() ? "0" : `${this.height}px`;
        this.setTop(this.top);
    }

    setTop(top) {
        this.top = Math.max(0, Math.min(top, this.count - this.fit));
        const share = this.top / Math.max(this.count - this.fit, 1);
        this.box.scrollTop = this.isScaled ? share * (this.height - this.box.clientHeight)
            : this.top * this.rowHeight;
        this.scrollTop = this.box.scrollTop;
        this.show();
    }

    scrolled() {
        if (this.box.scrollTop === this.scrollTop || showsAll()) return;
        this.scrollTop = this.box.scrollTop;
        const share = this.scrollTop / Math.max(this.height - this.box.clientHeight, 1);
        this.top = this.isScaled ? share * (this.count - this.fit)
            : this.scrollTop / this.rowHeight;
        this.show();
    }

    wheel(event) {
        if (!this.isScaled || showsAll() || event.ctrlKey) return;
        event.preventDefault();
        const pixels = event.deltaMode === 0 ? 1 : this.rowHeight;
        this.setTop(this.top + event.deltaY * pixels / this.rowHeight);
    }

    reveal(index) {
        if (showsAll()) {
            this.layer.children[index]?.scrollIntoView({ block: "nearest" });
        } else if (index < this.top || index + 1 > this.top + this.fit) {
            this.setTop(index - this.fit / 3);
        }
    }

    show() {
        const first = showsAll() ? 0 : Math.floor(this.top);
        const last = showsAll() ? this.count : Math.min(this.count, Math.ceil(this.top + this.fit));
        const rows = [];
        for (let i = first; i < last; ++i) rows.push(this.draw(i));
        this.layer.replaceChildren(...rows);
        const shift = showsAll() ? 0 : (first - this.top) * this.rowHeight;
        this.layer.style.transform = `translateY(${shift}px)`;
        this.shown?.();
    }
}
