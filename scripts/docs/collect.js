// Opens the pages in a frame, one after the other, and leaves what it finds as JSON in the element "result". The load
// event of the window waits for them all, as each page is requested before that of the page before it has ended.
"use strict";

// Returns the text of documents and comments that is no code.
function getProse(block) {
    const prose = block.cloneNode(true);
    prose.querySelectorAll("pre, code, div.fragment").forEach(code => code.remove());
    return prose.textContent;
}

function collectPage(page) {
    const all = (selector, get, root = page) => Array.from(root.querySelectorAll(selector), get);
    const getLines = block => block.textContent.split("\n");
    return {
        contents: all("div.contents", element => element.innerText.trim()).join(""),
        prose: all("div.textblock, div.memdoc", getProse).join("\n"),
        anchors: all("[id], a[name]", element => element.id || element.name),
        links: all("a[href], area[href]", link => link.href),
        resources: all("img, object, script[src], link[href]", element => element.src || element.href || element.data),
        brokenImages: all("img", image => image).filter(image => image.naturalWidth === 0).map(image => image.src),
        blocks: all("pre", getLines),
        labels: all("dl.labels > dt", label => ({
            label: label.textContent,
            text: label.nextElementSibling.innerText,
            blocks: all("pre", getLines, label.nextElementSibling),
            invariants: all("li > b:first-child", name => name.textContent, label.nextElementSibling)})),
        orders: all("table.orders", table =>
            all("tr", row => all("th, td", cell => cell.textContent.trim(), row), table))};
}

function collect(pages) {
    const found = {};
    const open = index => {
        if (index === pages.length) {
            const result = document.createElement("script");
            result.type = "application/json";
            result.id = "result";
            result.textContent = JSON.stringify(found).replaceAll("<", "\\u003c");
            document.body.replaceChildren(result);
            return;
        }
        const frame = document.createElement("iframe");
        frame.width = frame.height = 1000;
        frame.src = pages[index];
        frame.onload = () => {
            found[pages[index]] = collectPage(frame.contentDocument);
            open(index + 1);
            frame.remove();
        };
        document.body.append(frame);
    };
    open(0);
}
