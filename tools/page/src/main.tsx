// The page of `harvelstone collect`; with data inside, of `harvelstone inspect --html`.

import { render } from "preact";

import { CollectorPage } from "./collector-page.tsx";
import { parseFaithfully } from "./json.ts";
import { type Storage, StoragePage } from "./storage-page.tsx";
import { restoreTheme } from "./theme.tsx";

restoreTheme();
const data = document.getElementById("data")?.textContent?.trim();
const place = document.getElementById("app");
if (place) render(data ? <StoragePage storage={parseFaithfully(data) as unknown as Storage} /> : <CollectorPage />, place);
