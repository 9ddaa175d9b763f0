/** Structs and arrays with more direct members than this begin folded. */
const mostMembers = 100;
/** The first bytes of a binary that are shown when it is unfolded. */
const mostShown = 1 << 16;

/** The tree, the bytes and the details of one input. */
class Input_view {
    constructor(section, number) {
        this.section = section;
        this.name = `input${number}`;
        this.capture = Input_view.readCapture(section);
        this.chosen = none;
        this.hovered = none;
        this.span = null;
        this.cursor = 0;
        this.folded = this.foldLarge();
        this.makePanes();
        this.showRows();
        if (this.capture.rows > 0) this.choose(0);
    }

    static readCapture(section) {
        const take = (name) => [...section.querySelectorAll(`script.${name}`)].map((script) => {
            script.remove();
            return script.textContent;
        });
        return new Capture(decodeBlocks(take("bytes")), take("records"));
    }

    foldLarge() {
        const { capture } = this;
        const folded = new Uint8Array(capture.rows);
        for (let row = 0; row < capture.rows; ++row) {
            if (capture.members.at[row] > mostMembers) folded[row] = 1;
        }
        return folded;
    }

    makePanes() {
        const { capture } = this;
        const count = (number, what) => `${number} ${what}${number === 1 ? "" : "s"}`;
        const chunks = capture.chunkRow.at.subarray(0, capture.chunkRow.length)
            .reduce((sum, row) => sum + (row === none ? 0 : 1), 0);
        const counts = [count(capture.bytes.length, "byte"),
            ...chunks > 0 ? [count(chunks, "chunk")] : [],
            count(capture.messages.length, "message"), count(capture.rows, "row")];
        const summary = make("p", "summary", counts.join(", "));
        const button = (text, fold) => {
            const element = make("button", "", text);
            element.type = "button";
            element.addEventListener("click", () => this.foldAll(fold));
            return element;
        };
        summary.append(" ", button("Fold all", true), " ", button("Unfold all", false));
        const note = capture.isText ? [make("p", "note", "The input is text. The bytes are those " +
            "of its messages in the wire form.")] : [];
        this.tree = this.makePane("tree", "tree", `Chunks and items of ${this.title}`);
        this.grid = this.makePane("bytes", "grid", `Bytes of ${this.title}`);
        this.grid.setAttribute("aria-rowcount", this.lines);
        this.details = make("aside", "details");
        this.details.setAttribute("aria-label", "Details of the selected item");
        this.details.tabIndex = 0;
        const panes = make("div", "panes", this.tree, this.grid, this.details);
        this.section.querySelector("h2").after(summary, ...note,
            ...this.section.querySelectorAll(".failure"), panes);
        this.treeList = new List(this.tree, 22, (index) => this.drawRow(index));
        this.byteList = new List(this.grid, 20, (index) => this.drawLine(index));
        this.treeList.shown = () => this.paintTree();
        this.byteList.shown = () => this.paintBytes();
        this.listen();
    }

    get title() {
        return this.section.querySelector("h2").textContent;
    }

    makePane(className, role, label) {
        const pane = make("div", className);
        pane.setAttribute("role", role);
        pane.setAttribute("aria-label", label);
        pane.tabIndex = 0;
        return pane;
    }

    /** The number of bytes that are shown. Damage at the end has a place of its own. */
    get places() {
        const { bytes, damages } = this.capture;
        return bytes.length + (damages.has(bytes.length) ? 1 : 0);
    }

    /** The number of lines of 16 bytes. */
    get lines() {
        return Math.ceil(this.places / 16);
    }

    listen() {
        const rowOf = (event) => event.target.closest?.(".row");
        const cellOf = (event) => event.target.closest?.("[data-at]");
        this.tree.addEventListener("pointerover", (event) => {
            const row = rowOf(event);
            this.hover(row ? Number(row.dataset.row) : none);
        });
        this.grid.addEventListener("pointerover", (event) => {
            const cell = cellOf(event);
            this.hover(cell ? this.rowOf(Number(cell.dataset.at)) : none);
        });
        this.details.addEventListener("pointerover", (event) => {
            const part = event.target.closest?.("[data-begin]");
            this.light(part ? JSON.parse(part.dataset.begin) : null);
        });
        for (const pane of [this.tree, this.grid, this.details]) {
            pane.addEventListener("pointerleave", () => this.hover(none));
        }
        this.tree.addEventListener("click", (event) => {
            const row = rowOf(event);
            if (!row) return;
            if (event.target.closest(".toggle")) this.toggle(Number(row.dataset.row));
            this.choose(Number(row.dataset.row));
        });
        this.tree.addEventListener("dblclick", (event) => {
            if (rowOf(event) && !event.target.closest(".toggle")) this.toggle(this.chosen);
        });
        this.grid.addEventListener("click", (event) => {
            const cell = cellOf(event);
            if (cell) this.chooseByte(Number(cell.dataset.at));
        });
        this.tree.addEventListener("keydown", (event) => this.treeKey(event));
        this.grid.addEventListener("keydown", (event) => this.gridKey(event));
    }

    /** Returns the row of a byte. Damage behind the last byte belongs to its own row. */
    rowOf(place) {
        const { capture } = this;
        if (place < capture.bytes.length) return capture.rowAt(place);
        for (let row = capture.rows - 1; row >= 0; --row) {
            const isDamage = capture.kind.at[row] === kinds.damage;
            if (isDamage && capture.begin.at[row] === place) return row;
        }
        return none;
    }

    showRows() {
        const visible = new Numbers(Uint32Array);
        for (let row = 0; row < this.capture.rows;) {
            visible.push(row);
            row = this.folded[row] ? this.capture.next.at[row] : row + 1;
        }
        this.visible = visible.at.subarray(0, visible.length);
        this.treeList.setCount(visible.length);
        this.byteList.setCount(this.lines);
    }

    indexOf(row) {
        return lastAtMost(this.visible, row, 0, this.visible.length);
    }

    hasRowsBelow(row) {
        return this.capture.next.at[row] > row + 1;
    }

    toggle(row, isFolded = !this.folded[row]) {
        if (!this.hasRowsBelow(row) || Boolean(this.folded[row]) === isFolded) return;
        this.folded[row] = isFolded ? 1 : 0;
        this.showRows();
    }

    foldAll(isFolded) {
        for (let row = 0; row < this.capture.rows; ++row) {
            this.folded[row] = isFolded && this.hasRowsBelow(row) ? 1 : 0;
        }
        this.showRows();
        if (this.chosen !== none) this.choose(this.visible[this.indexOf(this.chosen)]);
    }

    unfoldAbove(row) {
        let changed = false;
        const { parent } = this.capture;
        for (let above = parent.at[row]; above !== none; above = parent.at[above]) {
            changed = changed || this.folded[above] === 1;
            this.folded[above] = 0;
        }
        if (changed) this.showRows();
    }

    /** Selects a row, and brings it and its bytes into sight. */
    choose(row) {
        if (row === none) return;
        this.unfoldAbove(row);
        this.chosen = row;
        this.hovered = none;
        this.span = null;
        this.cursor = this.capture.firstPlace(row);
        this.treeList.reveal(this.indexOf(row));
        this.byteList.reveal(Math.floor(this.cursor / 16));
        this.showDetails(row);
        this.paint();
    }

    chooseByte(place) {
        this.choose(this.rowOf(place));
        this.cursor = place;
        this.byteList.reveal(Math.floor(place / 16));
        this.paintBytes();
    }

    hover(row) {
        if (row === this.hovered && this.span === null) return;
        this.hovered = row;
        this.span = null;
        this.paint();
    }

    /** Lights up a part of the selected item. */
    light(span) {
        this.hovered = none;
        this.span = span;
        this.paint();
    }

    paint() {
        this.paintTree();
        this.paintBytes();
    }

    /** The row under the pointer, or else the selected one. */
    get shownRow() {
        return this.hovered !== none ? this.hovered : this.chosen;
    }

    paintTree() {
        const row = this.shownRow;
        const lit = row === none ? none : this.visible[this.indexOf(row)];
        for (const element of this.treeList.layer.children) {
            const isChosen = Number(element.dataset.row) === this.chosen;
            element.classList.toggle("lit", Number(element.dataset.row) === lit);
            element.classList.toggle("chosen", isChosen);
            element.setAttribute("aria-selected", isChosen);
            if (isChosen) this.tree.setAttribute("aria-activedescendant", element.id);
        }
    }

    paintBytes() {
        const row = this.shownRow;
        const span = this.span ?? (row === none ? null : this.capture.spanOf(row));
        for (const cell of this.grid.querySelectorAll("[data-at]")) {
            const place = Number(cell.dataset.at);
            cell.classList.toggle("lit", this.capture.isWithin(span, place));
            cell.classList.toggle("cursor", place === this.cursor);
        }
    }

    treeKey(event) {
        if (event.ctrlKey || event.altKey || event.metaKey || this.chosen === none) return;
        const row = this.chosen;
        const index = this.indexOf(row);
        const last = this.visible.length - 1;
        const page = Math.max(1, Math.floor(this.treeList.fit) - 1);
        const isOpen = this.hasRowsBelow(row) && !this.folded[row];
        const go = (to) => this.choose(this.visible[Math.max(0, Math.min(to, last))]);
        const keys = {
            ArrowDown: () => go(index + 1),
            ArrowUp: () => go(index - 1),
            PageDown: () => go(index + page),
            PageUp: () => go(index - page),
            Home: () => go(0),
            End: () => go(last),
            ArrowRight: () => isOpen ? go(index + 1) : this.toggle(row, false),
            ArrowLeft: () => isOpen ? this.toggle(row, true)
                : this.choose(this.capture.parent.at[row]),
            Enter: () => this.toggle(row),
            " ": () => this.toggle(row),
        };
        if (!keys[event.key]) return;
        event.preventDefault();
        keys[event.key]();
    }

    gridKey(event) {
        if (event.ctrlKey || event.altKey || event.metaKey) return;
        const page = 16 * Math.max(1, Math.floor(this.byteList.fit) - 1);
        const steps = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: 16, ArrowUp: -16, PageDown: page,
            PageUp: -page, Home: -Infinity, End: Infinity };
        if (!steps[event.key]) return;
        event.preventDefault();
        const last = this.capture.bytes.length - 1;
        this.chooseByte(Math.max(0, Math.min(this.cursor + steps[event.key], last)));
    }

    drawRow(index) {
        const { capture } = this;
        const row = this.visible[index];
        const element = make("div", "row");
        const depth = capture.depth.at[row];
        element.dataset.row = row;
        element.id = `${this.name}-row${row}`;
        element.setAttribute("role", "treeitem");
        element.setAttribute("aria-level", depth + 1);
        const toggle = make("span", "toggle");
        toggle.setAttribute("aria-hidden", "true");
        if (this.hasRowsBelow(row)) {
            element.setAttribute("aria-expanded", !this.folded[row]);
            toggle.textContent = this.folded[row] ? "▸" : "▾";
        }
        const offset = make("span", "offset", String(capture.firstPlace(row)));
        toggle.style.marginLeft = `${Math.min(depth, 40) * 14}px`;
        element.append(offset, toggle, ...this.drawText(row, element));
        const front = offset.textContent.length + toggle.textContent.length;
        element.title = element.textContent.slice(front);
        return element;
    }

    drawText(row, element) {
        const { capture } = this;
        const kind = capture.kind.at[row];
        const text = capture.textOf(row);
        if (kind === kinds.chunk) {
            element.classList.add("chunk");
            return this.drawChunk(row, text);
        }
        if (kind !== kinds.item) {
            element.classList.add(kind === kinds.damage ? "damage" : "message");
            return [make("span", "text", text)];
        }
        const [label, type, rest] = text.split("\t");
        const parts = [make("span", "label", label), label && type ? " " : "",
            make("span", "type", type), make("span", "rest", rest)];
        if (this.folded[row]) {
            parts.push(make("span", "count", ` ${capture.members.at[row]} below`));
        }
        return parts;
    }

    drawChunk(row, error) {
        const { capture } = this;
        const header = capture.headerAt(capture.begin.at[row]);
        const number = capture.find(capture.begin.at[row]).segment + 1;
        const flags = [header.isFirst ? ", first" : "", header.isLast ? ", last" : ""].join("");
        const parts = [make("span", "label", `chunk ${number}`),
            make("span", "rest", `: ${header.length} bytes${flags}, port ${header.port}, ` +
                `sequence ${header.sequence}`)];
        if (error !== "") parts.push(make("span", "error", `  ${error}`));
        return parts;
    }

    drawLine(index) {
        const line = make("div", "line");
        line.setAttribute("role", "row");
        line.setAttribute("aria-rowindex", index + 1);
        const place = make("span", "place", String(16 * index));
        place.setAttribute("role", "rowheader");
        place.title = `0x${(16 * index).toString(16)}`;
        const digits = make("span", "digits");
        const characters = make("span", "characters");
        digits.setAttribute("role", "presentation");
        characters.setAttribute("aria-hidden", "true");
        const end = Math.min(this.places, 16 * index + 16);
        for (let at = 16 * index; at < end; ++at) {
            const [digit, character] = this.drawByte(at);
            digits.append(digit);
            characters.append(character);
        }
        line.append(place, digits, characters);
        return line;
    }

    drawByte(at) {
        const { capture } = this;
        const isThere = at < capture.bytes.length;
        const byte = capture.bytes[at];
        const character = byte === 0 ? "·" : isVisible(byte) ? String.fromCharCode(byte) : ".";
        const classes = [isThere ? capture.partAt(at) : "missing",
            capture.damages.has(at) ? "damaged" : "", byte === 0 ? "zero" : ""].join(" ");
        const cells = [make("span", `byte ${classes}`, isThere ? hex(byte) : "--"),
            make("span", `character ${classes}`, isThere ? character : " ")];
        for (const cell of cells) {
            cell.dataset.at = at;
            if (capture.damages.has(at)) cell.title = capture.damages.get(at);
        }
        cells[0].setAttribute("role", "gridcell");
        return cells;
    }

    showDetails(row) {
        const kind = this.capture.kind.at[row];
        if (kind === kinds.chunk) {
            this.details.replaceChildren(...this.chunkDetails(row));
        } else if (kind === kinds.item) {
            this.details.replaceChildren(...this.itemDetails(row));
        } else {
            this.details.replaceChildren(make("h3", "", this.capture.textOf(row)));
        }
    }

    /** Returns a table. A line is the span that it lights up, or null, and the texts of its cells. */
    drawTable(className, head, lines) {
        const table = make("table", className);
        const line = (name, texts) => make("tr", "", ...texts.map((text) => make(name, "", text)));
        if (head.length > 0) table.append(make("thead", "", line("th", head)));
        const body = make("tbody");
        for (const [span, ...texts] of lines) {
            const element = line("td", texts);
            if (span) element.dataset.begin = JSON.stringify(span);
            body.append(element);
        }
        table.append(body);
        return table;
    }

    /** Explains the header of a chunk field by field. */
    chunkDetails(row) {
        const { capture } = this;
        const place = capture.begin.at[row];
        const header = capture.headerAt(place);
        const span = (begin, end) => ({ message: none, begin: place + begin, end: place + end });
        const flag = (bit, yes, no) => [bit ? "1" : "0", bit ? yes : no];
        const { version, length, port, sequence } = header;
        const fields = [
            [span(0, 1), "version", "byte 0", `${version}`,
                version === 0 ? "the plain header" : "should be 0"],
            [span(1, 2), "first chunk", "byte 1, bit 7",
                ...flag(header.isFirst, "begins a message", "goes on with a message")],
            [span(1, 2), "last chunk", "byte 1, bit 6",
                ...flag(header.isLast, "ends its message", "more chunks follow")],
            [span(1, 2), "reserved", "byte 1, bit 5",
                ...flag(header.reserved, "should be 0", "always 0")],
            [span(1, 2), "discard eligible", "byte 1, bit 4",
                ...flag(header.isEligible, "may be discarded", "not set")],
            [span(1, 4), "length", "byte 1, bits 3-0, bytes 2-3", `${length}`,
                "bytes of the payload"],
            [span(4, 5), "port", "byte 4", `${port}`, "chosen by the sender"],
            [span(5, 6), "response new", "byte 5, bit 7", ...flag(header.isNew, "set", "not set")],
            [span(5, 8), "sequence", "byte 5, bits 6-0, bytes 6-7", `${sequence}`,
                "the same in all chunks of a message"],
            [span(8, capture.end.at[row] - place), "payload", "from byte 8",
                ...this.payloadOf(row, place + 8 + length)],
        ];
        const error = capture.textOf(row);
        return [make("h3", "", `Header of the chunk at byte ${place}`),
            ...error === "" ? [] : [make("p", "failure", error)],
            this.drawTable("fields", ["Field", "Bits", "Value", "Meaning"], fields)];
    }

    /** Returns the size of the payload of a chunk, and what it is. */
    payloadOf(row, end) {
        const { capture } = this;
        const place = capture.begin.at[row];
        const { segment } = capture.find(place);
        const size = `${capture.end.at[row] - place - 8}`;
        if (capture.owner.at[segment] === none) return [size, "bytes of no message"];
        const cut = capture.end.at[row] < end ? ", cut" : "";
        return [size, `bytes from ${capture.inMessage.at[segment]} of its message${cut}`];
    }

    itemDetails(row) {
        const { capture } = this;
        const message = capture.messageOf(row);
        const [begin, end] = [capture.begin.at[row], capture.end.at[row]];
        const name = capture.nameSize(row);
        const span = (from, to) => ({ message, begin: from, end: to });
        const place = capture.placeOf(message, begin);
        const lines = [[span(begin, end), "Item", `${end - begin} bytes from byte ${place}`]];
        if (begin !== place) lines.push([span(begin, end), "In its message", `from byte ${begin}`]);
        if (name > 0) {
            lines.push([span(begin, begin + name), "Name",
                `${name} bytes with tag and length or index`],
                [span(begin + name, end), "Value", `${end - begin - name} bytes with tag and end`]);
        }
        const below = capture.members.at[row];
        if (below > 0) lines.push([null, "Directly below", `${below} rows`]);
        const texts = capture.textOf(row).split("\t");
        const heading = make("h3", "", `${texts[0]} ${texts[1]}${texts[2]}`.trim());
        return [heading, this.drawTable("parts", [], lines), ...this.drawContent(row)];
    }

    /** Returns the whole content of a string, a binary or a file, folded. */
    drawContent(row) {
        const content = this.capture.contentOf(row);
        if (content === null) return [];
        const { isString, message, begin, end } = content;
        const summary = make("summary", "", `Whole content, ${end - begin} bytes`);
        const element = make("details", "content", summary);
        element.addEventListener("toggle", () => {
            const shown = isString ? end : Math.min(end, begin + mostShown);
            const bytes = this.capture.bytesOf(message, begin, shown);
            const text = isString ? printable(bytes) : Array.from(bytes, hex).join(" ");
            element.querySelector("pre")?.remove();
            const rest = shown < end ? ` ... (${end - shown} more)` : "";
            element.append(make("pre", "", text + rest));
        }, { once: true });
        return [element];
    }
}

function switchColours(button) {
    const root = document.documentElement;
    const next = { undefined: "light", light: "dark", dark: undefined }[root.dataset.theme];
    if (next) {
        root.dataset.theme = next;
    } else {
        delete root.dataset.theme;
    }
    button.textContent = `Colours: ${next ?? "system"}`;
}

function begin() {
    const state = document.getElementById("state");
    const button = document.getElementById("theme");
    button.addEventListener("click", () => switchColours(button));
    const sections = [...document.querySelectorAll("section.input")];
    document.body.classList.toggle("single", sections.length === 1);
    const setMode = () => document.body.classList.toggle("all", showsAll());
    setMode();
    try {
        const views = sections.map((section, number) => new Input_view(section, number));
        window.addEventListener("hashchange", () => {
            setMode();
            for (const view of views) view.showRows();
        });
        state.textContent = `${sections.length} ${sections.length === 1 ? "input" : "inputs"}`;
    } catch (error) {
        state.textContent = `the capture cannot be shown: ${error.message}`;
        state.className = "failure";
        throw error;
    }
}

// The page is drawn before the data is read, which takes some time for large captures.
requestAnimationFrame(() => setTimeout(begin));
