// The uploads, newest first. The arrow keys choose one.

import type { RefObject } from "preact";
import { memo } from "preact/compat";
import { useEffect, useState } from "preact/hooks";

import type { Examined } from "./examined.ts";
import { bytesText, countText, timeOfDay } from "./format.ts";
import { isBroken } from "./problems.ts";
import { isGood, replyLabel } from "./reply.tsx";

const pageLength = 200;

const Item = memo(({ examined, isSelected, onSelect }: { examined: Examined; isSelected: boolean; onSelect: (number: number) => void }) => {
    const { exchange, records, problems } = examined;
    return (
        // The list takes the keys.
        <li id={`upload-${exchange.number}`} role="option" aria-selected={isSelected} class={isSelected ? "item selected" : "item"} onClick={() => onSelect(exchange.number)}>
            <span class="line">
                <span class="number">#{exchange.number}</span>
                <span class="title">{examined.title}</span>
                {problems.length > 0 && <span class={isBroken(problems) ? "mark bad" : "mark doubtful"}>{countText(problems.length, "problem")}</span>}
                <span class="sizes">{bytesText(exchange.bytes.json || exchange.bytes.gzip)}</span>
                <span class={isGood(exchange.given) ? "status good" : "status bad"}>{replyLabel(exchange.given)}</span>
            </span>
            <span class="line sub">
                <span class="time">{timeOfDay(exchange.arrivedText)}</span>
                {[...records].map(([section, count]) => (
                    <span class={`badge k-${section}`} key={section}>
                        {section} {count}
                    </span>
                ))}
            </span>
        </li>
    );
});

function stepFor(key: string, index: number, count: number): number | undefined {
    switch (key) {
        case "ArrowDown":
        case "j":
            return index + 1;
        case "ArrowUp":
        case "k":
            return index - 1;
        case "Home":
            return 0;
        case "End":
            return count - 1;
        case "PageDown":
            return index + 10;
        case "PageUp":
            return index - 10;
        default:
            return undefined;
    }
}

export function UploadList(props: { uploads: Examined[]; selected: number | null; onSelect: (number: number) => void; list: RefObject<HTMLUListElement | null> }) {
    const { uploads, selected, onSelect } = props;
    const [length, setLength] = useState(pageLength);
    const index = uploads.findIndex(({ exchange }) => exchange.number === selected);

    useEffect(() => {
        const isSteering = document.activeElement === props.list.current;
        if (isSteering) document.getElementById(`upload-${selected}`)?.scrollIntoView({ block: "nearest" });
    }, [selected]);

    const move = (event: KeyboardEvent) => {
        if (event.ctrlKey || event.metaKey || event.altKey) return;
        const step = stepFor(event.key, index, uploads.length);
        if (step === undefined) return;
        event.preventDefault();
        const next = Math.min(Math.max(step, 0), uploads.length - 1);
        setLength((now) => Math.max(now, next + 1));
        const upload = uploads[next];
        if (upload) onSelect(upload.exchange.number);
    };
    return (
        <div class="list">
            <ul role="listbox" aria-label="Uploads, newest first" tabIndex={0} ref={props.list} aria-activedescendant={index < 0 ? undefined : `upload-${selected}`} onKeyDown={move}>
                {uploads.slice(0, length).map((examined) => (
                    <Item examined={examined} isSelected={examined.exchange.number === selected} onSelect={onSelect} key={examined.exchange.number} />
                ))}
            </ul>
            {uploads.length > length && (
                <button type="button" class="more" onClick={() => setLength(length + pageLength)}>
                    Show {countText(Math.min(pageLength, uploads.length - length), "older upload")}
                </button>
            )}
        </div>
    );
}
