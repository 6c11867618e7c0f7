// Documents and bytes over time.

import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import uPlot from "uplot";

import { type Buckets, bucketsOf, type Counted } from "./buckets.ts";
import { bytesText, countText } from "./format.ts";

const leastHeight = 130;
const refreshMilliseconds = 5000;

/** A colour of the style sheet as the canvas takes it. */
function colour(place: HTMLElement, name: string): string {
    place.style.color = `var(${name})`;
    const computed = getComputedStyle(place).color;
    place.style.color = "";
    return computed;
}

const sizeOf = (place: HTMLElement) => ({ width: Math.max(place.clientWidth, 200), height: Math.max(place.clientHeight, leastHeight) });

function options(place: HTMLElement): uPlot.Options {
    const text = colour(place, "--muted");
    const grid = { stroke: colour(place, "--line"), width: 1 };
    const font = `11px ${getComputedStyle(place).fontFamily}`;
    const axis = { stroke: text, grid, font, ticks: { show: false } };
    const bars = uPlot.paths.bars!({ size: [0.8, 24], align: 1 });
    return {
        ...sizeOf(place),
        padding: [10, 4, 0, 4],
        legend: { show: false },
        cursor: { show: false },
        scales: { x: { time: true }, count: { range: (_plot, _low, high) => [0, Math.max(high ?? 0, 4)] }, bytes: { range: (_plot, _low, high) => [0, Math.max((high ?? 0) * 1.1, 1000)] } },
        axes: [
            { ...axis, size: 24, grid: { show: false }, values: (_plot, times) => times.map((time) => new Date(time * 1000).toTimeString().slice(0, 8)), space: 80 },
            { ...axis, scale: "count", size: 34, incrs: [1, 2, 5, 10, 20, 50, 100, 200, 500], space: 28 },
            { ...axis, scale: "bytes", side: 1, size: 58, grid: { show: false }, values: (_plot, amounts) => amounts.map(bytesText), space: 28 },
        ],
        series: [
            {},
            { scale: "count", paths: bars, points: { show: false }, fill: colour(place, "--accent"), width: 0 },
            { scale: "count", paths: bars, points: { show: false }, fill: colour(place, "--bad"), width: 0 },
            { scale: "bytes", points: { show: false }, stroke: colour(place, "--warm"), width: 2, paths: uPlot.paths.stepped!({ align: 1 }) },
        ],
    };
}

const columns = (buckets: Buckets): uPlot.AlignedData => [buckets.times, buckets.documents, buckets.wrong, buckets.bytes];

export function Chart({ uploads }: { uploads: Counted[] }) {
    const place = useRef<HTMLDivElement>(null);
    const plot = useRef<uPlot | null>(null);
    const [now, setNow] = useState(Date.now() / 1000);
    const buckets = useMemo(() => bucketsOf(uploads, now), [uploads, now]);
    const latest = useRef(buckets);
    latest.current = buckets;

    useEffect(() => {
        const timer = setInterval(() => setNow(Date.now() / 1000), refreshMilliseconds);
        return () => clearInterval(timer);
    }, []);
    useEffect(() => {
        const element = place.current;
        if (!element) return;
        const draw = () => {
            plot.current?.destroy();
            plot.current = new uPlot(options(element), columns(latest.current), element);
        };
        const dark = matchMedia("(prefers-color-scheme: dark)");
        const resized = new ResizeObserver(() => plot.current?.setSize(sizeOf(element)));
        draw();
        resized.observe(element);
        dark.addEventListener("change", draw);
        window.addEventListener("themechange", draw);
        return () => {
            resized.disconnect();
            dark.removeEventListener("change", draw);
            window.removeEventListener("themechange", draw);
            plot.current?.destroy();
        };
    }, []);
    useEffect(() => plot.current?.setData(columns(buckets)), [buckets]);

    const bytes = buckets.bytes.reduce((sum, each) => sum + each, 0);
    const label = `${countText(uploads.length, "upload")}, ${bytesText(bytes)}, in steps of ${buckets.step} s`;
    return (
        <figure class="card chart">
            <figcaption>
                <span class="legend documents">uploads</span>
                <span class="legend wrong">with problems</span>
                <span class="legend bytes">bytes on the wire</span>
                <span class="step">each bar {buckets.step < 60 ? `${buckets.step} s` : `${buckets.step / 60} min`}</span>
            </figcaption>
            <div ref={place} class="plot" role="img" aria-label={label} />
        </figure>
    );
}
