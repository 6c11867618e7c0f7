// The request as it came: line, headers, the body's three layers.

import type { Exchange } from "./exchange.ts";
import { bytesText } from "./format.ts";

const layers = [
    { name: "gzip", key: "gzip", text: "as it came over the wire" },
    { name: "percent-encoded", key: "encoded", text: "gunzipped" },
    { name: "JSON", key: "json", text: "percent-decoded" },
] as const;

function Layers({ exchange }: { exchange: Exchange }) {
    const largest = Math.max(1, ...layers.map(({ key }) => exchange.bytes[key]));
    return (
        <table class="layers">
            <caption>Body, layer by layer</caption>
            <tbody>
                {layers.map(({ name, key, text }) => {
                    const bytes = exchange.bytes[key];
                    return (
                        <tr key={key}>
                            <th scope="row">
                                {name} <small>{text}</small>
                            </th>
                            <td class="bar">
                                <span class={`fill ${key}`} style={{ width: `${(100 * bytes) / largest}%` }} />
                            </td>
                            <td class="amount">{bytes > 0 ? `${bytes.toLocaleString("en")} B` : "not reached"}</td>
                        </tr>
                    );
                })}
            </tbody>
        </table>
    );
}

function HexDump({ digits }: { digits: string }) {
    const bytes = digits.match(/../g) ?? [];
    const lines: string[] = [];
    for (let start = 0; start < bytes.length; start += 16) {
        const line = bytes.slice(start, start + 16);
        const text = line.map((byte) => String.fromCharCode(Number.parseInt(byte, 16)).replace(/[^ -~]/, "·")).join("");
        lines.push(`${start.toString(16).padStart(4, "0")}  ${line.join(" ").padEnd(47)}  ${text}`);
    }
    return (
        <>
            <h3>First bytes of the body</h3>
            <pre class="dump" tabIndex={0}>{lines.join("\n") || "The body is empty."}</pre>
        </>
    );
}

export function RequestView({ exchange }: { exchange: Exchange }) {
    return (
        <>
            <p class="requestline">
                <b>POST</b> <code>{exchange.path}</code>
            </p>
            <p class="when">
                arrived {exchange.arrivedText}, {bytesText(exchange.bytes.gzip)}
            </p>
            <Layers exchange={exchange} />
            <table class="headers">
                <caption>Headers</caption>
                <tbody>
                    {exchange.headers.map(([name, value]) => (
                        <tr key={name + value}>
                            <th scope="row">{name}</th>
                            <td>{value}</td>
                        </tr>
                    ))}
                </tbody>
            </table>
            {exchange.refusal !== null && <HexDump digits={exchange.bodyStart} />}
        </>
    );
}
